#pragma once

#include <QByteArray>
#include <QDate>
#include <QDateTime>
#include <QString>

// The leading number of a text, as the board's programs read numbers typed by people:
// blanks skipped, digits taken until the first non-digit, nothing gives 0.
long long leadingNumber(QStringView text);

// "h:m" typed by a person -> "hh:mm"; a part out of range becomes "00".
QString normalizeTime(const QString& text);

// Days since a fixed origin, in the board's own arithmetic, so that differences match what
// the DOS programs compute.
long long dayNumber(int month, int day, int year);
int ageInYears(const QDate& birth, const QDate& today);
// Seconds since 1970 for the local time `now` in a zone `offsetHundredths` hundredths of an
// hour from GMT.
long long unixTimeNow(const QDateTime& now, int offsetHundredths);
