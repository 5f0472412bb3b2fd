#pragma once

#include <QByteArray>
#include <QString>

// Board text files are CP437 on disk. Bytes travel unchanged; only what a person reads is
// converted.
namespace cp437 {
QString toUnicode(const QByteArray& bytes);
// Characters outside CP437 become '?', so a name typed on the console always fits the record.
QByteArray fromUnicode(const QString& text);
} // namespace cp437
