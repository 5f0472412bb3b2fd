#pragma once

#include <QString>

// How the console shows a run state: which status picture is lit, which of the three
// state commands can be chosen (the File menu and the tray menu alike), and the tray icon.
struct RunStateView {
    enum class Picture { None, Green, Red, Yellow };
    Picture picture = Picture::None;
    bool startEnabled = false;
    bool stopEnabled = false;
    bool offlineEnabled = false;
    int trayIcon = 0;
};

RunStateView runStateView(int state);

// "online 1", "stopped 0", ...: how `keldts ctl status` names a state.
QString runStateName(int state);

// "Stopped", "Online", "Offline": the word the tray and its tool tip use for a run state.
QString modeWord(int state);
