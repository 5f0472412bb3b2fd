#include "server/UpdateSchedule.h"

#include "data/TextHelpers.h"

bool updateCheckDue(int updateType, int frequency, const QString& lastCheck, const QDateTime& now) {
    if (updateType <= 0)
        return false;
    const QString today = now.date().toString(QStringLiteral("yyMMdd"));
    if (today.toLongLong() <= leadingNumber(lastCheck))
        return false;
    const QDate last =
        QDate::fromString(QStringLiteral("20") + lastCheck.trimmed(), QStringLiteral("yyyyMMdd"));
    // A board that never checked counts as overdue.
    const qint64 days = last.isValid() ? last.daysTo(now.date()) : 36500;
    switch (frequency) {
    case 0:
        return now.time().minute() == 0;
    case 1:
        return true;
    case 2:
        return days >= 7;
    case 3:
        return days >= 30;
    default:
        return false;
    }
}
