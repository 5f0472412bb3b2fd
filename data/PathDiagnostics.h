#pragma once

#include "platform/Result.h"

#include <QString>

class Board;

// The report of the board's directories: every path of SYSPATHS.CFG and of the databases,
// tested through the drive map, and whether COLOR.CFG still holds the stock colours.
struct PathReport {
    QString text; // lines ended by CR LF, as the report is shown
    int missing = 0;
    bool colorsModified = false;
    bool allWell() const { return missing == 0 && !colorsModified; }
};

Result<PathReport> runPathDiagnostics(const Board& board);

// COLOR.CFG as the board's installation brings it.
QByteArray stockColorConfig();
