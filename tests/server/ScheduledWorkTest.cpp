#include "server/ScheduledWork.h"

#include "data/RecordFile.h"
#include "data/records/BoardFiles.h"
#include "support/RecordingRunner.h"
#include "support/TestBoard.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

using Style = BatchRunner::Style;
using Runs = std::vector<RecordingRunner::Run>;

QByteArray head(const char* time) {
    return QByteArray("@ECHO OFF\r\nREM This file created by KELDTS v2.6.060524 @ ") + time +
           " on 03/14/2026\r\nC:\r\nCD C:\\KELD\r\n";
}

class ScheduledWorkTest : public ::testing::Test {
  protected:
    void SetUp() override {
        tb.loadSettings();
        for (const char* flag : {"dailymaint", "eventbatch", "keldevents", "networktossing"})
            tb.board->serverConfig.setI16(flag, 0);
        tb.board->serverConfig.setI16("showeventwindow", 1);
    }
    void at(int hour, int minute, int second = 0) {
        tb.clock.set(QDateTime(QDate(2026, 3, 14), QTime(hour, minute, second)));
    }
    void addEvent(const char* time, const char* date, const char* command) {
        Record event(eventsLayout());
        event.setText("evttime", QLatin1String(time));
        event.setText("evtdate", QLatin1String(date));
        event.setText("evtcommand", QLatin1String(command));
        QFile file(tb.file("EVENTS.CFG"));
        ASSERT_TRUE(file.open(QIODevice::Append));
        file.write(event.bytes());
    }
    QString eventDate(int number) {
        Record event(eventsLayout());
        EXPECT_TRUE(recordfile::read(tb.file("EVENTS.CFG"), number, event).ok());
        return event.text("evtdate");
    }

    TestBoard tb;
    RecordingRunner runner;
    bool nodeInUse = false;
    ScheduledWork work{*tb.board, tb.logs, runner, [this] { return nodeInUse; }};
};

// The events of one minute go into one batch in file order; each runs once a day.
TEST_F(ScheduledWorkTest, EventsDueInAMinuteShareOneBatch) {
    tb.board->serverConfig.setI16("keldevents", 1);
    addEvent("10:30", "260313", "nightly.Bat /all");
    addEvent("10:30", "260314", "ran.bat");
    addEvent("10:31", "", "later.bat");
    addEvent("10:30", "", "  pack.batch now");
    at(10, 30, 5);
    work.secondTick();
    EXPECT_EQ(tb.read("EVNT1030.BAT"),
              head("10:30:05") + "CALL NIGHTLY.BAT /ALL\r\nPACK.BATCH NOW\r\nC:\r\nCD "
                                 "C:\\KELD\r\nDEL C:\\KELD\\EVNT1030.BAT\r\nEXIT\r\n\r\n");
    EXPECT_EQ(runner.runs, Runs({{"C:\\KELD\\EVNT1030.BAT", Style::Minimized}}));
    EXPECT_EQ(eventDate(1), "260314");
    EXPECT_EQ(eventDate(3), "");
    EXPECT_EQ(tb.pane.lines().last(), "10:30:05 : 2 Event(s) Executed");
    EXPECT_EQ(tb.lastLogEntry(), "2 Event(s) Executed");

    at(10, 30, 6);
    work.secondTick();
    EXPECT_EQ(runner.runs.size(), 1u) << "an event runs once in its minute";
}

// KTSEVNT.BAT waits for 00:01; while it is missing that is said at every tick, and once there
// it runs at once and is done for the day.
TEST_F(ScheduledWorkTest, TheSysopsEventBatchRunsOnceADayFromOneMinutePastMidnight) {
    tb.board->serverConfig.setI16("eventbatch", 1);
    tb.board->serverConfig.setText("eventbatchdate", QStringLiteral("260313"));
    at(0, 0, 59);
    work.secondTick();
    EXPECT_TRUE(tb.pane.lines().isEmpty());
    at(0, 1);
    work.secondTick();
    work.secondTick();
    EXPECT_EQ(tb.pane.lines(), QStringList(2, "00:01:00 : 03/14/2026 : KTSEVNT.BAT is Missing"));
    EXPECT_TRUE(runner.runs.empty());

    tb.write("KTSEVNT.BAT", "REM mine\r\n");
    work.secondTick();
    work.secondTick();
    EXPECT_EQ(runner.runs, Runs({{"C:\\KELD\\KTSEVNT.BAT", Style::Minimized}}));
    EXPECT_EQ(tb.record(serverConfigLayout(), "KELDTS.CFG").text("eventbatchdate"), "260314");
    EXPECT_EQ(tb.lastLogEntry(), "KTSEVNT.BAT was Executed");
}

// Maintenance writes its date before it runs, and runs hidden unless event windows are shown;
// events still run minimised.
TEST_F(ScheduledWorkTest, DailyMaintenanceIsDatedFirstAndRunsHiddenWithoutEventWindows) {
    tb.board->serverConfig.setI16("dailymaint", 1);
    tb.board->serverConfig.setI16("showeventwindow", 0);
    at(3, 0);
    EXPECT_TRUE(work.secondTick());
    EXPECT_FALSE(work.secondTick());
    EXPECT_EQ(tb.record(mainConfigLayout(), "MAIN.CFG").text("lastdailymaint"), "260314");
    EXPECT_EQ(tb.read("KTSDMNT.BAT"),
              head("03:00:00") + "KSWEEP.EXE /DAILY\r\nDEL C:\\KELD\\FDX\\*.FDX > NUL.\r\nC:\r\n"
                                 "CD C:\\KELD\r\nDEL C:\\KELD\\KTSDMNT.BAT > NUL.\r\nEXIT\r\n");
    EXPECT_EQ(runner.runs, Runs({{"C:\\KELD\\KTSDMNT.BAT", Style::Hidden}}));
    EXPECT_EQ(tb.pane.lines(), QStringList("03:00:00 : 03/14/2026 : Daily Maintenance Performed"));
}

// An empty LOCAL.NET is a cancelled toss; an empty SPOOL1.NET still wants one, every minute.
TEST_F(ScheduledWorkTest, TossTriggers) {
    tb.board->serverConfig.setI16("networktossing", 1);
    tb.write("DATA/LOCAL.NET", {});
    work.minuteTick();
    EXPECT_FALSE(QFile::exists(tb.file("DATA/LOCAL.NET")));
    EXPECT_TRUE(runner.runs.empty());

    tb.write("DATA/SPOOL1.NET", {});
    work.minuteTick();
    work.minuteTick();
    EXPECT_TRUE(QFile::exists(tb.file("DATA/SPOOL1.NET")));
    ASSERT_EQ(runner.runs.size(), 2u);
    EXPECT_EQ(runner.runs.front(),
              (RecordingRunner::Run{"C:\\KELD\\KTSTOSS.BAT", Style::Minimized}));
    EXPECT_EQ(tb.read("KTSTOSS.BAT"),
              head("12:00:00") +
                  "KTOSS.EXE 0 /TOSS\r\nECHO @ECHO OFF > POLL.BAT\r\n"
                  "FOR %%T IN (POLL?.NET) DO COPY POLL.BAT+%%T\r\n"
                  "DEL POLL?.NET > NUL.\r\nCALL POLL.BAT\r\nDEL POLL.BAT > NUL.\r\n"
                  "C:\r\nCD C:\\KELD\r\nDEL C:\\KELD\\KTSTOSS.BAT > NUL.\r\nEXIT\r\n");
}

TEST_F(ScheduledWorkTest, TheCleanUpIsForcedOnlyWhenTheSysopSaysSo) {
    QStringList outcomes;
    const auto note = [&](const QString& outcome) { outcomes << outcome; };
    nodeInUse = true;
    tb.dialogs.answers = {false, true};
    work.sweep(tb.dialogs, note);
    EXPECT_TRUE(runner.runs.empty());
    work.sweep(tb.dialogs, note);
    ASSERT_EQ(tb.dialogs.shown.size(), 2u);
    EXPECT_EQ(tb.dialogs.shown.back().text,
              "The BBS is currently active. Do you want to force this action?");
    EXPECT_TRUE(tb.read("KTSSWEEP.BAT").contains("\r\nKSWEEP.EXE /SUPERCLEAN /OVERRIDE\r\n"));
    EXPECT_EQ(runner.runs, Runs({{"C:\\KELD\\KTSSWEEP.BAT", Style::Normal}}));
    EXPECT_EQ(outcomes.size(), 2);
}

TEST_F(ScheduledWorkTest, LeftoverBatchesGoAtStartButTheCleanUpFlagStays) {
    const QStringList leftovers{"KTSDMNT.BAT", "KTSTOSS.BAT",  "KTSLLGN.BAT", "KTSN1.BAT",
                                "KTSN250.BAT", "EVNT0930.BAT", "ktssweep.bat"};
    for (const QString& name : leftovers + QStringList{"KTSSWEEP.FLG", "KTSN1234.BAT"})
        tb.write(name, "x");
    work.removeLeftoverBatches();
    for (const QString& name : leftovers)
        EXPECT_FALSE(QFile::exists(tb.file(name))) << name.toStdString();
    EXPECT_TRUE(QFile::exists(tb.file("KTSSWEEP.FLG")));
    EXPECT_TRUE(QFile::exists(tb.file("KTSN1234.BAT")));
}

} // namespace
