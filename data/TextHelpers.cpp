#include "data/TextHelpers.h"

#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <limits>

QString padString(const QString& text, int width, const QString& pad, const QString& mode) {
    if (width <= 0)
        return {};
    if (text.size() >= width)
        return text.left(width);
    const QChar fill = pad.isEmpty() ? QLatin1Char(' ') : pad.at(0);
    const qsizetype missing = width - text.size();
    const QString how = mode.trimmed().toUpper();
    if (how == QLatin1String("PAD_LEFT"))
        return QString(missing, fill) + text;
    if (how == QLatin1String("PAD_CENTER"))
        return QString(missing / 2, fill) + text + QString(missing - missing / 2, fill);
    return text + QString(missing, fill);
}

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

QString replaceText(const QString& text, const QString& find, const QString& replacement, int limit,
                    bool restart) {
    if (find.isEmpty() || find == replacement)
        return text;
    // Starting over after a replacement that brings `find` back would never end.
    const bool startOver = restart && !(limit == 0 && replacement.contains(find));
    QString out = text;
    qsizetype from = 0;
    for (int done = 0; limit == 0 || done < limit; ++done) {
        const qsizetype at = out.indexOf(find, from, Qt::CaseSensitive);
        if (at < 0)
            break;
        out.replace(at, find.size(), replacement);
        from = startOver ? 0 : at + replacement.size();
    }
    return out;
}

QString trimCrLf(const QString& text, bool keepBlanks) {
    QString out = keepBlanks ? text : text.trimmed();
    const QString crlf = QStringLiteral("\r\n");
    for (;;) {
        const qsizetype before = out.size();
        while (out.startsWith(crlf))
            out.remove(0, 2);
        while (out.endsWith(crlf))
            out.chop(2);
        if (!keepBlanks)
            out = out.trimmed();
        if (out.size() == before)
            return out;
    }
}

QString stripColorCodes(const QString& text) {
    QString out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.at(i) == QChar(3))
            ++i;
        else
            out.append(text.at(i));
    }
    return out;
}

QString sortedWords(const QString& text, const QString& delimiter) {
    QStringList words = splitText(delimiter, text, 0, 0);
    std::stable_sort(words.begin(), words.end(),
                     [](const QString& a, const QString& b) { return a.toUpper() < b.toUpper(); });
    return words.join(delimiter);
}

double truncateNumber(double value) {
    return std::trunc(value);
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
