#pragma once

#include "data/Progress.h"
#include "platform/Result.h"

#include <QString>
#include <QStringList>

class Board;

// `keldts table`: the list editors' operations for a sysop without a display, or a script.
// Each word goes to the same table rows the forms change, so the rules are those of the forms.
namespace tablecommand {

struct Outcome {
    int status = 0; // 0 done, 2 refused (the file as it was)
    QString out;
    QString err;
};

// The words after "table": "--list", or a board file's name and what to do with it. A long
// change tells `progress` how far it has come.
Outcome run(const Board& board, const QStringList& words, const PassProgress& progress = {});

QString usage();

// Refused, naming the file, when `path` is there and may not be written; a missing file is the
// change's to make. Asked before anything changes: a table rewritten beside a read-only file
// would otherwise take its place.
Result<> writable(const QString& path);

} // namespace tablecommand
