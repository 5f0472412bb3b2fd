#pragma once

#include <QString>
#include <QStringList>
#include <QStringView>

// The small text conversions every form and file routine of the board shares.

// Splits case-blind at `delimiter` into at most `maxParts` parts (below 1: no limit) and
// returns at least `minEntries` entries, the missing ones empty.
QStringList splitText(const QString& delimiter, const QString& text, int maxParts, int minEntries);

// The text cut or padded with blanks on the right to exactly `width` characters.
QString padString(const QString& text, int width);

// The leading number of a text, as the board's programs read numbers typed by people:
// blanks skipped, digits taken until the first non-digit, nothing gives 0.
long long leadingNumber(QStringView text);
// The number at the start of what a person typed, fraction included; 0 when there is none.
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
