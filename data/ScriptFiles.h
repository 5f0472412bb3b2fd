#pragma once

#include "platform/Result.h"

#include <QStringList>

class Board;

// The files of one kind in the board's script directory: function blocks (*.FB) and scripts
// (*.V), listed, made and deleted by name.
namespace scriptfiles {

// The names of the files with `extension` ("FB"), as the disk has them, in the order of their
// names; none when the directory cannot be read.
QStringList list(const Board& board, const QString& extension);
// Where the file `name` of the script directory lies, found case-blind.
QString path(const Board& board, const QString& name);
bool exists(const Board& board, const QString& name);
// A new file of one empty line.
Result<> create(const Board& board, const QString& name);
Result<> remove(const Board& board, const QString& name);

} // namespace scriptfiles
