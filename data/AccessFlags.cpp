#include "data/AccessFlags.h"

namespace accessflags {

QString normalizeLetters(const QString& text) {
    QString out;
    for (QChar c : text.toUpper()) {
        if (c >= QLatin1Char('A') && c <= QLatin1Char('Z') && !out.contains(c))
            out.append(c);
    }
    return out;
}

} // namespace accessflags
