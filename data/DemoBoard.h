#pragma once

#include "platform/Result.h"

#include <QString>

struct DemoBoardOptions {
    QString directory; // the demo folder; the board's main directory is <directory>/KELD
    int port = 2323;
    QString program; // the keldts binary that LOADBBS.BAT runs as the node
};

// Writes a small complete board: drive C is the demo folder, the main directory is C:\KELD.
// Files that already exist are kept, so a sysop's changes survive a second run. Returns the
// main directory, where the server is to be started.
Result<QString> writeDemoBoard(const DemoBoardOptions& options);
