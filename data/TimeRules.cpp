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

int dayNumber(int month, int day, int year) {
    const int m = (month + 9) % 12;
    const int y = year - m / 10;
    return 365 * y + y / 4 - y / 100 + y / 400 + (306 * m + 5) / 10 + day - 1;
}

int ageInYears(int month, int day, int year, const QDate& today) {
    const int d = dayNumber(today.month(), today.day(), today.year()) - dayNumber(month, day, year);
    return (d - (d / 365) / 4) / 365;
}
