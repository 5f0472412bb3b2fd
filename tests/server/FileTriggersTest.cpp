#include "server/FileTriggers.h"

#include "data/records/BoardFiles.h"
#include "support/FakeNodes.h"
#include "support/RecordingRunner.h"
#include "support/TestBoard.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

class FileTriggersTest : public ::testing::Test {
  protected:
    void SetUp() override { tb.loadSettings(); }

    void addTrigger(const char* file, const char* command, const char* parameters,
                    qint16 deleteTrigger) {
        Record trigger(fileTriggerLayout());
        trigger.setText("trigger", QLatin1String(file));
        trigger.setText("command", QLatin1String(command));
        trigger.setText("parameters", QLatin1String(parameters));
        trigger.setI16("deletetrigger", deleteTrigger);
        QFile table(tb.file("KELDTSTR.DAT"));
        ASSERT_TRUE(table.open(QIODevice::Append));
        table.write(trigger.bytes());
    }
    bool exists(const char* name) const { return QFile::exists(tb.file(QLatin1String(name))); }

    TestBoard tb;
    FakeNodes nodes;
    RecordingRunner runner;
    FileTriggers triggers{*tb.board, tb.logs, nodes, runner};
};

// KILLNODE.n closes a running node; for an idle one the request just goes. A name that is no
// node's stays, and keeps the look going every minute.
TEST_F(FileTriggersTest, KillRequestsCloseRunningNodes) {
    nodes.running = {1};
    for (const char* request : {"KILLNODE.1", "KILLNODE.3", "KILLNODE.TXT", "KTSN1.BAT"})
        tb.write(request, "x");
    triggers.poll();
    EXPECT_FALSE(exists("KILLNODE.1") || exists("KILLNODE.3") || exists("KTSN1.BAT"));
    EXPECT_TRUE(exists("KILLNODE.TXT"));
    EXPECT_EQ(nodes.calls, QStringList({"reset 1", "delete 1"}));
    EXPECT_EQ(tb.pane.lines(), QStringList("12:00:00 : File Trigger : Node 1 Closed"));
    EXPECT_EQ(tb.lastLogEntry(), "(1) File Trigger : Node Closed");
}

// A trigger fires while its file lies there, deleting every file its wildcard matches when it
// is told to; one whose program is missing does nothing at all.
TEST_F(FileTriggersTest, TriggersStartTheirProgramsWhileTheirFilesLieThere) {
    tb.write("TOSS.SH", "#!/bin/sh\n");
    addTrigger("C:\\KELD\\DATA\\GO?.FLG", "C:\\KELD\\TOSS.SH", "-x  1", 1);
    addTrigger("C:\\KELD\\DATA\\KEEP.FLG", "C:\\KELD\\TOSS.SH", "", 0);
    addTrigger("C:\\KELD\\DATA\\KEEP.FLG", "C:\\KELD\\MISSING.EXE", "", 1);
    for (const char* file : {"DATA/GO1.FLG", "DATA/GO2.FLG", "DATA/KEEP.FLG"})
        tb.write(file, {});
    triggers.poll();
    triggers.poll();
    EXPECT_FALSE(exists("DATA/GO1.FLG") || exists("DATA/GO2.FLG"));
    EXPECT_TRUE(exists("DATA/KEEP.FLG"));
    ASSERT_EQ(runner.runs.size(), 3u) << "the kept trigger fires every minute";
    EXPECT_EQ(runner.runs.front(),
              (RecordingRunner::Run{"C:\\KELD\\TOSS.SH", BatchRunner::Style::Hidden}));

    runner.refusal = QStringLiteral("Cannot run C:\\KELD\\TOSS.SH");
    triggers.poll();
    triggers.poll();
    EXPECT_EQ(tb.pane.lines(), QStringList("Error: Cannot run C:\\KELD\\TOSS.SH"))
        << "said once, not every minute";
}

} // namespace
