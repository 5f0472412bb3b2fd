#pragma once

#include "data/RecordLayout.h"

#include <QString>

#include <functional>

class Board;

// Files in the layout of EMAIL.DAT are read whole, in one go, and walked record by record: a
// 30 MB mail base takes a few milliseconds that way, where a read per record would hold up the
// event loop. A partial record at the end is a node program's write in progress and is left
// out. Returns false when the file cannot be read; the records visited until then stand.
bool forEachMailRecord(const QString& path, const std::function<bool(const Record&)>& visit);

// Mail that waits for `user`: addressed to him, delivered and not yet read. What cannot be
// read counts as no mail, so a broken mail base shows what was found before the break.
int countWaitingMail(const Board& board, int user);
