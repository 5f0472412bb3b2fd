#include "data/TimeRules.h"

#include "data/TextHelpers.h"

QString normalizeTime(const QString& text) {
    const QString trimmed = text.trimmed();
    const qsizetype colon = trimmed.indexOf(QLatin1Char(':'));
    const QString hoursText = colon < 0 ? trimmed : trimmed.left(colon);
    const QString minutesText = colon < 0 ? QString() : trimmed.mid(colon + 1);
    if (hoursText.trimmed().isEmpty())
        return QStringLiteral("00:00");
    const long long hours = leadingNumber(hoursText);
    const long long minutes = leadingNumber(minutesText);
    const auto part = [](long long value, long long limit) {
        return QString::number(value >= 0 && value <= limit ? value : 0)
            .rightJustified(2, QLatin1Char('0'));
    };
    return part(hours, 23) + QLatin1Char(':') + part(minutes, 59);
}
