#pragma once

#include <QDateTime>
#include <QString>

// Whether the once-a-minute update check should start the update program now. `updateType` 0
// switches checking off; `frequency` is 0 hourly, 1 daily, 2 weekly, 3 monthly; `lastCheck` is
// the "yymmdd" date of the last check. Never more than once a day, whatever the frequency.
bool updateCheckDue(int updateType, int frequency, const QString& lastCheck, const QDateTime& now);
