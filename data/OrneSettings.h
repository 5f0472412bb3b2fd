#pragma once

#include "platform/Result.h"

#include <QList>
#include <QString>

#include <span>
#include <utility>

class Board;

// ORNE-INET.INI, the settings of the internet mail and news kit: a plain INI file whose section
// [ORNE] the kit's programs read through the Windows profile calls, which only find it reliably
// when it stands at the head of the file. So every read or write first makes sure it does. The
// rest of the file belongs to the kit and keeps every byte, line end and comment it had.
namespace orne {

struct Field {
    const char* key;     // the key in [ORNE]
    const char* control; // the form's box
    const char* label;
    bool path; // a directory of the kit: stored in capitals, without a trailing "\"
};

// The keys the kit's configuration edits, in the order of its form.
std::span<const Field> fields();
// The field of `key`, in any case; nullptr for a key the kit does not know.
const Field* findField(const QString& key);

// Where ORNE-INET.INI lies on this machine: in the directory of [Orne] directory= of
// KELDTS.INI, which stands for the kit's Windows directory, or in the board's main directory.
Result<QString> iniPath(const Board& board);

// The trimmed value of `key` in [ORNE]; "" when the section has no such key.
Result<QString> value(const QString& iniPath, const QString& key);
// Writes each key's value in [ORNE]: in the key's own line where it has one, in a new line
// after the section's last line otherwise. The file is replaced whole, so a crash leaves it
// as it was or with every key written.
Result<> setValues(const QString& iniPath, const QList<std::pair<QString, QString>>& values);

// What is stored for `typed` in the box of `field`.
QString stored(const Field& field, const QString& typed);

} // namespace orne
