#pragma once

#include "platform/Result.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

// Changing several files as one: a reader, or the next start after a crash, finds all of them
// as they were or all of them new, never a mix. Mail texts and the records that point into
// them, a table and the files numbered after its records, must never disagree.
namespace allornone {

// A file's new bytes, or none to remove it.
struct Change {
    QString path;
    std::optional<QByteArray> bytes;
};

// Replaces and removes the files of `changes`, all or none. The new files are written beside
// their targets first; `journal` then records the set before the first rename and goes after
// the last, so that an interruption is finished or undone by `recover`. Only one set is under
// way at a time in the journal's directory, among all the programs that use it.
Result<> replace(const QString& journal, const QList<Change>& changes);

// Finishes a set whose journal says every new file was written, and throws away the new files
// of one that had not got that far. Nothing to do without a journal.
Result<> recover(const QString& journal);

} // namespace allornone
