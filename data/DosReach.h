#pragma once

#include <QString>
#include <QStringList>

#include <functional>

class Board;

// Whether the board's DOS programs can reach its main directory. On this platform they run in
// an emulator that sees only the drives of the map, so a drive must hold the main directory,
// and the DOS runner of KELDTS.INI must be there to start them.
struct DosReach {
    bool reachable = false;
    QStringList checked; // what was tested and what was found, a line each
};

// `mainDirectory` as SYSPATHS.CFG holds it.
DosReach checkDosReach(const Board& board, const QString& mainDirectory);

// The notice for a main directory the DOS programs cannot reach, lines ended by CR LF.
QString pathWarningText(const DosReach& reach);

// Shows the notice through `show` (title, text) when the main directory cannot be reached, and
// then notes in KELDTS.CFG that it was shown, so that it comes once. A board that can be reached
// is tested again at the next start.
void showPathWarning(Board& board, const std::function<void(const QString&, const QString&)>& show);
