#pragma once

#include <QByteArray>
#include <QString>

// The leading number of a text, as the board's programs read numbers typed by people:
// blanks skipped, digits taken until the first non-digit, nothing gives 0.
long long leadingNumber(QStringView text);

// "h:m" typed by a person -> "hh:mm"; a part out of range becomes "00".
QString normalizeTime(const QString& text);
