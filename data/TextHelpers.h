#pragma once

#include <QString>
#include <QStringView>

// The small text conversions every form and file routine of the board shares.

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
