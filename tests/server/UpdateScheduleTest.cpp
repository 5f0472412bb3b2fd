#include "server/UpdateSchedule.h"

#include <gtest/gtest.h>

namespace {

const QDateTime kNoon(QDate(2026, 3, 14), QTime(12, 0, 0));

TEST(UpdateSchedule, AtMostOnceADayAndOnlyAsOftenAsAsked) {
    const QString yesterday = QStringLiteral("260313");
    EXPECT_FALSE(updateCheckDue(0, 1, yesterday, kNoon));
    EXPECT_TRUE(updateCheckDue(3, 1, yesterday, kNoon));
    EXPECT_FALSE(updateCheckDue(3, 1, QStringLiteral("260314"), kNoon));
    EXPECT_TRUE(updateCheckDue(3, 0, yesterday, kNoon));
    EXPECT_FALSE(updateCheckDue(3, 0, yesterday, kNoon.addSecs(60)));
    EXPECT_FALSE(updateCheckDue(3, 2, QStringLiteral("260308"), kNoon));
    EXPECT_TRUE(updateCheckDue(3, 2, QStringLiteral("260307"), kNoon));
    EXPECT_FALSE(updateCheckDue(3, 3, QStringLiteral("260213"), kNoon));
    EXPECT_TRUE(updateCheckDue(3, 3, QStringLiteral("260212"), kNoon));
    EXPECT_TRUE(updateCheckDue(1, 2, QStringLiteral("000000"), kNoon));
    EXPECT_FALSE(updateCheckDue(1, 7, yesterday, kNoon));
}

} // namespace
