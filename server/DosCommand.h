#pragma once

#include "platform/Result.h"

#include <QString>
#include <QStringList>

class Board;

// What runs a program the board names by its DOS path: a Linux program or script runs
// directly, anything else through the DOS runner of KELDTS.INI ([Dos] run=), whose {batch},
// {node} and {fd} stand for the program's Linux path, the node and the caller's handle, and
// a word {args} for the program's arguments. The runner "dosbox" alone is the built-in DOSBox
// profile.
// Fails when nothing can run it.
Result<QStringList> dosCommand(const Board& board, const QString& dosPath,
                               const QStringList& arguments, int node, const QString& handle);
