#pragma once

#include <QString>
#include <QStringList>

// The small text conversions every form and file routine of the board shares.

// Cuts `text` to `width` or pads it with the first character of `pad` (a blank when empty).
// Mode "PAD_LEFT" pads before, "PAD_CENTER" splits the padding (the smaller half before),
// anything else pads after.
QString padString(const QString& text, int width, const QString& pad = QStringLiteral(" "),
                  const QString& mode = QStringLiteral("PAD_RIGHT"));

// Splits case-blind at `delimiter` into at most `maxParts` parts (below 1: no limit) and
// returns at least `minEntries` entries, the missing ones empty.
QStringList splitText(const QString& delimiter, const QString& text, int maxParts, int minEntries);

// Replaces `find` left to right, at most `limit` times (0: no limit). With `restart` each
// search starts over at the beginning of the text, else behind the inserted text.
QString replaceText(const QString& text, const QString& find, const QString& replacement,
                    int limit = 0, bool restart = false);

// Removes CR LF pairs from both ends, over and over; blanks go too unless `keepBlanks`.
QString trimCrLf(const QString& text, bool keepBlanks = false);

// Drops the board's colour codes: character 3 and the character after it.
QString stripColorCodes(const QString& text);

// The words between `delimiter`s, sorted case-blind, joined again.
QString sortedWords(const QString& text, const QString& delimiter);

// The whole part of a number, never rounded.
double truncateNumber(double value);

// The number at the start of what a person typed; 0 when there is none.
double numericValue(const QString& text);
// The number a person typed: its numeric prefix rounded to the nearest whole number and
// capped at the type's largest value.
qint16 toInt16(const QString& text);
qint32 toInt32(const QString& text);

// A stored flag as a check box state: 0 stays 0, anything else is 1.
inline int toCheck(qint16 value) {
    return value == 0 ? 0 : 1;
}

// "1d 2h 3m 4s" (short) or "1 days, 2 hours, 3 minutes, 4 seconds".
QString buildUptimeText(qint64 seconds, bool shortForm);
