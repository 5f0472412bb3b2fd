#include "data/WindowState.h"

#include "data/RecordFile.h"

#include <QFile>

namespace {

QPoint centred(const ScreenGeometry& g) {
    return {(g.screen.width() - g.form.width()) / 2, (g.screen.height() - g.form.height()) / 2};
}

bool onScreen(int top, int left, const ScreenGeometry& g) {
    return top < g.screen.height() && left < g.screen.width() && top > -g.form.height() &&
           left > -g.form.width();
}

} // namespace

WindowPlacement loadWindowState(Board& board, const ScreenGeometry& geometry) {
    Record& state = board.windowState;
    WindowPlacement placement{centred(geometry), kFullFormWidth, false};
    state.setI32("windowtop", placement.topLeft.y());
    state.setI32("windowleft", placement.topLeft.x());
    state.setI16("panelshrunk", 0);
    const QString path = board.path(windowStateLayout());
    if (board.serverConfig.i16("savewindowpos") != 1) {
        if (QFile::exists(path) && !QFile::remove(path))
            board.logs.reportError(QStringLiteral("Error While Loading KELDTS.DAT"));
        return placement;
    }
    const bool ok = (QFile::exists(path) || recordfile::write(path, 1, state).ok()) &&
                    recordfile::read(path, 1, state).ok();
    if (!ok) {
        board.logs.reportError(QStringLiteral("Error While Loading KELDTS.DAT"));
        return placement;
    }
    placement.panelShrunk = state.i16("panelshrunk") == 1;
    placement.formWidth = placement.panelShrunk ? kShrunkFormWidth : kFullFormWidth;
    const int top = state.i32("windowtop");
    const int left = state.i32("windowleft");
    if (top > geometry.screen.height() || left > geometry.screen.width() ||
        top < -geometry.form.height() || left < -geometry.form.width())
        return placement;
    placement.topLeft = {left, top};
    return placement;
}

void saveWindowState(Board& board, const QPoint& lastTopLeft, const ScreenGeometry& geometry) {
    Record& state = board.windowState;
    const QString path = board.path(windowStateLayout());
    if (board.serverConfig.i16("savewindowpos") != 1) {
        if (QFile::exists(path) && !QFile::remove(path))
            board.logs.reportError(QStringLiteral("Error While Saving KELDTS.DAT"));
        return;
    }
    const bool moved =
        lastTopLeft.y() != state.i32("windowtop") || lastTopLeft.x() != state.i32("windowleft");
    if (moved && onScreen(lastTopLeft.y(), lastTopLeft.x(), geometry)) {
        state.setI32("windowtop", lastTopLeft.y());
        state.setI32("windowleft", lastTopLeft.x());
    }
    if (!recordfile::write(path, 1, state).ok())
        board.logs.reportError(QStringLiteral("Error While Saving KELDTS.DAT"));
}
