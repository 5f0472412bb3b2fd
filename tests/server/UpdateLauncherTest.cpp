#include "server/UpdateLauncher.h"
#include "data/SystemConfig.h"
#include "support/RecordingRunner.h"
#include "support/TestBoard.h"

#include <gtest/gtest.h>

namespace {

class UpdateLauncherTest : public ::testing::Test {
  protected:
    void SetUp() override {
        t.loadSettings();
        t.board->serverConfig.setI16("updatetype", 2);
        t.board->serverConfig.setI16("updatefreq", 0);
        t.board->serverConfig.setText("lastupdatecheck", QStringLiteral("260313"));
        t.write(QStringLiteral("KTSUPD.EXE"), "MZ");
    }
    void tickAt(int hour, int minute) {
        t.clock.set(QDateTime(QDate(2026, 3, 14), QTime(hour, minute)));
        launcher.checkTick();
    }

    TestBoard t;
    RecordingRunner runner;
    UpdateLauncher launcher{*t.board, t.logs, runner};
};

TEST_F(UpdateLauncherTest, HourlyRunsOnceAtTheFirstFullHourOfTheDayThatHasAProgram) {
    // Without a program nothing is noted, so the check comes back at the next full hour.
    t.board->platform.updater = QStringLiteral("no-such-updater-on-this-path");
    tickAt(12, 0);
    EXPECT_TRUE(runner.runs.empty());
    EXPECT_EQ(t.board->serverConfig.text("lastupdatecheck"), "260313");
    t.board->platform.updater = t.file(QStringLiteral("KTSUPD.EXE"));
    tickAt(12, 5);
    EXPECT_TRUE(runner.runs.empty());
    tickAt(13, 0);
    ASSERT_EQ(runner.runs.size(), 1u);
    EXPECT_EQ(runner.runs[0].path, t.file(QStringLiteral("KTSUPD.EXE")));
    EXPECT_EQ(runner.arguments, QStringList({"/QUIET", "/TYPE=2"}));
    ASSERT_FALSE(loadSystemConfig(*t.board).fatal);
    EXPECT_EQ(t.board->serverConfig.text("lastupdatecheck"), "260314") << "saved to KELDTS.CFG";
    tickAt(14, 0);
    EXPECT_EQ(runner.runs.size(), 1u);

    // By hand the sysop's choice counts, the schedule does not, and a failure is told.
    runner.refusal = QStringLiteral("Cannot run KTSUPD.EXE: no DOS runner");
    launcher.start(1);
    EXPECT_EQ(runner.arguments, QStringList({"/TYPE=1"}));
    EXPECT_EQ(t.pane.lines().last(), "Error: Cannot run KTSUPD.EXE: no DOS runner");
}

} // namespace
