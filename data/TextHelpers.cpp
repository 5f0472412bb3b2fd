#include "data/TextHelpers.h"

#include <QRegularExpression>

#include <cmath>
#include <limits>

QStringList splitText(const QString& delimiter, const QString& text, int maxParts, int minEntries) {
    QStringList parts;
    if (delimiter.isEmpty()) {
        parts << text;
    } else {
        qsizetype from = 0;
        while (maxParts < 1 || parts.size() < maxParts - 1) {
            const qsizetype at = text.indexOf(delimiter, from, Qt::CaseInsensitive);
            if (at < 0)
                break;
            parts << text.mid(from, at - from);
            from = at + delimiter.size();
        }
        parts << text.mid(from);
    }
    while (parts.size() < minEntries)
        parts << QString();
    return parts;
}

QString padString(const QString& text, int width) {
    return text.left(width).leftJustified(width);
}

long long leadingNumber(QStringView text) {
    qsizetype i = 0;
    while (i < text.size() && text[i].isSpace())
        ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == QLatin1Char('-') || text[i] == QLatin1Char('+'))) {
        negative = text[i] == QLatin1Char('-');
        ++i;
    }
    long long value = 0;
    for (; i < text.size() && text[i] >= QLatin1Char('0') && text[i] <= QLatin1Char('9'); ++i) {
        if (value < 1'000'000'000'000LL)
            value = value * 10 + (text[i].unicode() - '0');
    }
    return negative ? -value : value;
}

double numericValue(const QString& text) {
    static const QRegularExpression number(QStringLiteral("^\\s*[-+]?(\\d+\\.?\\d*|\\.\\d+)"));
    const QRegularExpressionMatch match = number.match(text);
    return match.hasMatch() ? match.captured(0).trimmed().toDouble() : 0.0;
}

namespace {

template <typename T> T toCapped(const QString& text) {
    // Halves go to the even neighbour, as the board's conversions always did.
    const double value = std::nearbyint(numericValue(text));
    if (value > std::numeric_limits<T>::max())
        return std::numeric_limits<T>::max();
    if (value < std::numeric_limits<T>::min())
        return std::numeric_limits<T>::min();
    return static_cast<T>(value);
}

} // namespace

qint16 toInt16(const QString& text) {
    return toCapped<qint16>(text);
}

qint32 toInt32(const QString& text) {
    return toCapped<qint32>(text);
}

QString buildUptimeText(qint64 seconds, bool shortForm) {
    const qint64 days = seconds / 86400;
    const qint64 hours = seconds % 86400 / 3600;
    const qint64 minutes = seconds % 3600 / 60;
    const qint64 secs = seconds % 60;
    if (shortForm)
        return QStringLiteral("%1d %2h %3m %4s").arg(days).arg(hours).arg(minutes).arg(secs);
    return QStringLiteral("%1 days, %2 hours, %3 minutes, %4 seconds")
        .arg(days)
        .arg(hours)
        .arg(minutes)
        .arg(secs);
}
