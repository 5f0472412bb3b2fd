#include "server/RunState.h"

#include "data/Board.h"

#include <algorithm>

RunStateView runStateView(int state) {
    using P = RunStateView::Picture;
    switch (state) {
    case StateStopped:
        return {P::Red, true, false, true, 102};
    case StateOnline:
        return {P::Green, false, true, true, 101};
    case StateOffline:
        return {P::Yellow, true, true, false, 103};
    default:
        return {};
    }
}

QString runStateName(int state) {
    switch (state) {
    case StateStarting:
        return QStringLiteral("starting -2");
    case StateShuttingDown:
        return QStringLiteral("exiting -1");
    case StateStopped:
        return QStringLiteral("stopped 0");
    case StateOnline:
        return QStringLiteral("online 1");
    case StateOffline:
        return QStringLiteral("offline 2");
    default:
        return QStringLiteral("unknown %1").arg(state);
    }
}

QString modeWord(int state) {
    switch (std::clamp<int>(state, StateStopped, StateOffline)) {
    case StateStopped:
        return QStringLiteral("Stopped");
    case StateOffline:
        return QStringLiteral("Offline");
    default:
        return QStringLiteral("Online");
    }
}
