// The menus' small jobs: a console session on node 0 and the telnet nodes' channel records.

#include "server/ConsoleJobs.h"
#include "data/RecordTable.h"
#include "data/records/BoardFiles.h"
#include "data/records/Channels.h"
#include "support/NotedProgress.h"
#include "support/RecordingRunner.h"
#include "support/TestBoard.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

class ConsoleJobsTest : public ::testing::Test {
  protected:
    ConsoleJobsTest() {
        tb.loadSettings();
        jobs.setProgressView(&progress);
    }
    QString said(void (ConsoleJobs::*job)(Dialogs&, ConsoleJobs::Done)) {
        QString outcome;
        (jobs.*job)(tb.dialogs, [&outcome](const QString& text) { outcome = text; });
        return outcome;
    }

    TestBoard tb;
    RecordingRunner runner;
    NotedProgress progress;
    ConsoleJobs jobs{*tb.board, tb.logs, runner};
};

TEST_F(ConsoleJobsTest, LocalLoginRunsTheBoardOnNodeZeroUnlessSomeoneIsOnIt) {
    tb.setNodeAction(0, QStringLiteral("Main Menu"), QStringLiteral("Sysop"), 1);
    EXPECT_EQ(said(&ConsoleJobs::localLogin), "The local node is already being used!");
    EXPECT_TRUE(runner.runs.empty());
    EXPECT_FALSE(QFile::exists(tb.file("KTSLLGN.BAT")));

    tb.setNodeAction(0, QString(), QString(), 0);
    const QString outside = tb.plantLink("KTSLLGN.BAT");
    EXPECT_EQ(said(&ConsoleJobs::localLogin), "local login started");
    EXPECT_TRUE(tb.linkReplaced("KTSLLGN.BAT", outside));
    ASSERT_EQ(runner.runs.size(), 1u);
    EXPECT_EQ(runner.runs[0], (RecordingRunner::Run{QStringLiteral("C:\\KELD\\KTSLLGN.BAT"),
                                                    BatchRunner::Style::Normal}));
    const QByteArray batch = tb.read("KTSLLGN.BAT");
    EXPECT_TRUE(batch.contains("\r\nPCANSI.COM > NUL.\r\nBBS.EXE 0\r\n")) << batch.constData();
    EXPECT_TRUE(batch.endsWith("\r\nDEL C:\\KELD\\KTSLLGN.BAT > NUL.\r\nEXIT\r\n"))
        << batch.constData();
}

TEST_F(ConsoleJobsTest, NodeSetupWritesTheTelnetNodesAfterAYesWithABoxOnlyForMany) {
    tb.board->serverConfig.setI16("startnode", 3);
    tb.board->serverConfig.setI16("maxconnections", 9);
    const QString channels = tb.board->path(channelsLayout());
    const QString channelX = tb.board->path(channelXLayout());
    QFile::remove(channels);
    EXPECT_EQ(said(&ConsoleJobs::autoNodeSetup), "node setup left alone");
    EXPECT_FALSE(QFile::exists(channels));

    tb.dialogs.answers = {true};
    EXPECT_EQ(said(&ConsoleJobs::autoNodeSetup), "Automatic Node Setup Has Finished.");
    EXPECT_TRUE(progress.noted.isEmpty()) << "nine nodes are done before a box could be read";
    const QList<Record> written = recordtable::read(channels, channelsLayout()).value();
    ASSERT_EQ(written.size(), 11);
    EXPECT_EQ(written.at(1).i32("baudrate"), 0) << "node 2 is no telnet node";
    EXPECT_EQ(written.at(2).bytes(), fossilChannel(channelsLayout()).bytes());
    EXPECT_EQ(written.at(10).bytes(), fossilChannel(channelsLayout()).bytes());
    EXPECT_EQ(recordtable::read(channelX, channelXLayout()).value().at(10).bytes(),
              fossilChannel(channelXLayout()).bytes());

    tb.board->serverConfig.setI16("maxconnections", 10);
    tb.dialogs.answers = {true};
    EXPECT_EQ(said(&ConsoleJobs::autoNodeSetup), "Automatic Node Setup Has Finished.");
    EXPECT_EQ(progress.noted, QStringList({"show KELDTS - Automatic Node Setup", "hide"}));
    // The first file fills half the bar, the second the rest, and it never runs over.
    EXPECT_EQ(progress.percents.value(10), 55);
    EXPECT_EQ(progress.percents.last(), 100);
}

} // namespace
