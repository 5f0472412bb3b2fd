#pragma once

#include "data/Progress.h"

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

} // namespace tablecommand
