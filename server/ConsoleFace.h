#pragma once

#include "data/WindowState.h"
#include "server/RunState.h"
#include "server/StatusView.h"

#include <QPoint>
#include <QString>

// What the server asks of the window it runs in: the desktop's main form, or nothing at all
// when it runs headless.
class ConsoleFace {
  public:
    virtual ~ConsoleFace() = default;
    virtual ScreenGeometry geometry() const = 0;
    virtual QPoint position() const = 0;
    virtual void place(const WindowPlacement& placement) = 0;
    virtual void setMinimized(bool minimized) = 0;
    virtual void applyRunState(const RunStateView& view) = 0;
    virtual void trayAdd(const QString& tip, int icon) = 0;
    virtual void trayModify(const QString& tip, int icon) = 0;
    virtual void trayRemove() = 0;
    virtual void setBanner(const QString& text) = 0;
    virtual void showForm() = 0;
    virtual void bringToFront() = 0;
    virtual void hideForm() = 0;
    virtual void beep() = 0;
    // The status panel, its title and the menu entries of add-on tools; a face without them
    // has nothing to show.
    virtual void showStatusPanel(const StatusPanelView&) {}
    virtual void setCaption(const QString&) {}
    virtual void setMenuVisible(const QString&, bool) {}
    // What the listing service last said; headless, `keldts ctl status --json` tells it.
    virtual void setBbsFinderCaption(const QString&) {}
};
