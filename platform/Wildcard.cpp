#include "platform/Wildcard.h"

namespace {

// Classic backtracking match; trailing "?" may match nothing.
bool matchPart(QStringView pattern, QStringView text) {
    qsizetype p = 0, t = 0, starP = -1, starT = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == QLatin1Char('*')) {
            starP = p++;
            starT = t;
        } else if (p < pattern.size() &&
                   (pattern[p] == QLatin1Char('?') || pattern[p].toUpper() == text[t].toUpper())) {
            ++p;
            ++t;
        } else if (starP >= 0) {
            p = starP + 1;
            t = ++starT;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && (pattern[p] == QLatin1Char('*') || pattern[p] == QLatin1Char('?')))
        ++p;
    return p == pattern.size();
}

} // namespace

bool hasDosWildcard(const QString& text) {
    return text.contains(QLatin1Char('*')) || text.contains(QLatin1Char('?'));
}

bool matchesDosWildcard(const QString& pattern, const QString& fileName) {
    if (pattern == QLatin1String("*.*") || pattern == QLatin1String("*"))
        return true;
    const qsizetype patternDot = pattern.lastIndexOf(QLatin1Char('.'));
    if (patternDot < 0)
        return matchPart(pattern, fileName);
    const qsizetype nameDot = fileName.lastIndexOf(QLatin1Char('.'));
    const QStringView name =
        nameDot < 0 ? QStringView(fileName) : QStringView(fileName).left(nameDot);
    const QStringView ext = nameDot < 0 ? QStringView() : QStringView(fileName).mid(nameDot + 1);
    return matchPart(QStringView(pattern).left(patternDot), name) &&
           matchPart(QStringView(pattern).mid(patternDot + 1), ext);
}
