#include "data/TimeRules.h"

#include <cmath>

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

long long dayNumber(int month, int day, int year) {
    const long long m = (month + 9) % 12;
    const long long y = year - m / 10;
    return 365 * y + y / 4 - y / 100 + y / 400 + (306 * m + 5) / 10 + day - 1;
}

int ageInYears(const QDate& birth, const QDate& today) {
    const long long d = dayNumber(today.month(), today.day(), today.year()) -
                        dayNumber(birth.month(), birth.day(), birth.year());
    return static_cast<int>((d - (d / 365) / 4) / 365);
}

long long unixTimeNow(const QDateTime& now, int offsetHundredths) {
    const QDate today = now.date();
    const double days =
        double(dayNumber(today.month(), today.day(), today.year()) - dayNumber(1, 1, 1970));
    const double seconds = days * 86400.0 + now.time().msecsSinceStartOfDay() / 1000 -
                           offsetHundredths / 100.0 * 3600.0;
    return std::llround(seconds);
}
