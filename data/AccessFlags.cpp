#include "data/AccessFlags.h"

namespace accessflags {

QString toText(qint32 flags) {
    QString out;
    for (int bit = 0; bit < 26; ++bit) {
        if (flags & (qint32(1) << bit))
            out.append(QChar('A' + bit));
    }
    return out;
}

qint32 fromText(const QString& text) {
    qint32 flags = 0;
    for (QChar c : text.toUpper()) {
        if (c >= QLatin1Char('A') && c <= QLatin1Char('Z'))
            flags |= qint32(1) << (c.unicode() - 'A');
    }
    return flags;
}

QString toMask(const QString& text) {
    QString mask(26, QLatin1Char(' '));
    for (QChar c : text.toUpper()) {
        if (c >= QLatin1Char('A') && c <= QLatin1Char('Z'))
            mask[c.unicode() - 'A'] = c;
    }
    return mask;
}

QString normalizeLetters(const QString& text) {
    QString out;
    for (QChar c : text.toUpper()) {
        if (c >= QLatin1Char('A') && c <= QLatin1Char('Z') && !out.contains(c))
            out.append(c);
    }
    return out;
}

} // namespace accessflags
