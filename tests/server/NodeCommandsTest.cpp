#include "server/NodeCommands.h"
#include "data/RecordFile.h"
#include "data/SystemConfig.h"
#include "data/records/BoardFiles.h"
#include "server/NodeTable.h"
#include "support/FakeNodeHost.h"
#include "support/NotedProgress.h"
#include "support/TestBoard.h"

#include <QProcess>

#include <gtest/gtest.h>

namespace {

class NodeCommandsTest : public ::testing::Test {
  protected:
    NodeCommandsTest() {
        tb.loadSettings();
        table.refreshNodeList();
    }

    // Node `node` as a launch leaves it: a window, a state file, and a caller in CONTROL.DAT.
    void occupy(int node, qint64 window, qint64 pid = 0) {
        host.add(NodeTable::windowTitle(node), window, pid);
        ASSERT_TRUE(table.writeStateFile(node, pid, 0, window, 7));
        tb.setNodeAction(node, QStringLiteral("Main Menu"), QStringLiteral("Caller"), 5);
        table.refreshNodeList();
    }
    QString eventLog() const { return QString::fromLatin1(tb.read("KELDTS.LOG")); }
    QByteArray bbsLog() const { return tb.read("DATA/BBS.LOG"); }
    QString ctl(const QString& words) {
        return commands.control(words.split(QLatin1Char(' '))).value_or(QStringLiteral("-"));
    }

    TestBoard tb;
    FakeNodeHost host;
    NodeTable table{*tb.board, host, tb.logs};
    NodeCommands commands{*tb.board, tb.logs, table, host};
};

TEST_F(NodeCommandsTest, PopupOffersPerNodeEntriesOnlyForANodeInUseAndBySettings) {
    const QStringList always{"mnuNodeReset", "mnuNodeResetAll"};
    EXPECT_EQ(commands.popupEntries(1), always);

    occupy(2, 42);
    const QStringList all =
        always + QStringList{"mnuNodeShowAll", "mnuNodeHideAll", "mnuNodeBootAll",
                             "mnuNodeSeperator0", "mnuNodeSeperator1"};
    EXPECT_EQ(commands.popupEntries(1), all);
    const QStringList node = {"mnuNodeShow", "mnuNodeHide", "mnuNodeSeperator", "mnuNodeClose",
                              "mnuNodeEdit", "mnuNodeChat", "mnuNodeBoot",      "mnuNodeLineNoise"};
    const QStringList block{"mnuNodeSeperator2", "mnuNodeBlockIp"};
    EXPECT_EQ(commands.popupEntries(2), all + node + block);

    tb.board->serverConfig.setI16("ipfiltermode", 1);
    EXPECT_EQ(commands.popupEntries(2), all + node);
    tb.board->mainConfig.setI16("sysfkey", 1);
    EXPECT_EQ(commands.popupEntries(2), all);
}

TEST_F(NodeCommandsTest, KeystrokeCommandsTypeTheBbsKeysAndLogBoth) {
    // Which keys each types, that they reach the node, and the plain boot's log, are seen end
    // to end.
    occupy(1, 42);
    commands.run(NodeCommands::Command::Chat, 1, tb.dialogs);
    commands.run(NodeCommands::Command::LineNoise, 1, tb.dialogs);
    commands.run(NodeCommands::Command::Boot, 3, tb.dialogs); // no window: nothing typed
    EXPECT_EQ(host.typed.size(), 2);
    // The chat needs the sysop at the console; booting does not bring it up.
    EXPECT_EQ(host.shown, (QList<std::pair<qint64, NodeHost::Show>>{{42, NodeHost::Show::Normal}}));
    // The log records what the sysop did, whether or not a window took the keys.
    EXPECT_EQ(bbsLog(), "CH 1 Entered Chat With SysOp (Shift+F1)\r\n"
                        "CH 1 User Booted Offline By SysOp (Shift+F10)\r\n"
                        "CH 3 User Booted Offline By SysOp (F10)\r\n");

    occupy(2, 43);
    commands.run(NodeCommands::Command::BootAll, 0, tb.dialogs);
    EXPECT_EQ(host.typed.size(), 4);
    EXPECT_TRUE(bbsLog().endsWith("CH x All Users Booted Offline By SysOp\r\n"));
    EXPECT_TRUE(eventLog().endsWith(QStringLiteral("(*) All Users Booted Offline By SysOp\r\n")));

    // A console that cannot take keys says so.
    host.keysRefused = QStringLiteral("no console");
    EXPECT_EQ(ctl("node 1 boot"), "(1) User Booted Offline By SysOp (F10); node 1 cannot take "
                                  "keys: no console");
    EXPECT_TRUE(tb.pane.lines().last().endsWith(" : Node 1 cannot take keys: no console"));
}

// The command line offers a node what its popup offers it, no more.
TEST_F(NodeCommandsTest, EditOpensTheUserEditorOnTheCallersAccount) {
    occupy(1, 42);
    QString said;
    const auto outcome = [&said](const QString& line) { said = line; };
    commands.run(NodeCommands::Command::Edit, 1, tb.dialogs, outcome);
    EXPECT_EQ(said, "node 1: user 5, see keldts table USERFILE.DAT show 5");
    int opened = 0;
    commands.editUser = [&opened](int user) { opened = user; };
    commands.run(NodeCommands::Command::Edit, 2, tb.dialogs, outcome);
    EXPECT_EQ(said, "node 2 has no user");
    commands.run(NodeCommands::Command::Edit, 1, tb.dialogs, outcome);
    EXPECT_EQ(opened, 5);
}

TEST_F(NodeCommandsTest, ResettingControlDatAsksAgainOnlyWhenACallerIsOn) {
    tb.setNodeAction(2, QStringLiteral("Main Menu"), QStringLiteral("Caller"), 5);
    const QByteArray before = tb.read("CONTROL.DAT");
    EXPECT_EQ(ctl("reset-control"), "CONTROL.DAT left alone: add --yes to go ahead");
    EXPECT_EQ(tb.read("CONTROL.DAT"), before);

    NotedProgress progress;
    commands.setProgressView(&progress);
    EXPECT_EQ(ctl("reset-control --yes"), "(*) ALL Nodes Reset");
    EXPECT_TRUE(progress.noted.isEmpty()) << "the demo board's four nodes need no box";
    EXPECT_EQ(tb.dialogs.shown.size(), 0u) << "the command line asks nobody";
    Record node2(controlLayout());
    ASSERT_TRUE(recordfile::read(tb.file("CONTROL.DAT"), 3, node2).ok());
    EXPECT_EQ(node2.i32("usernumber"), 0);

    occupy(1, 42);
    tb.dialogs.answers = {true, false};
    commands.resetControl(tb.dialogs);
    ASSERT_EQ(tb.dialogs.shown.size(), 2u);
    EXPECT_EQ(tb.dialogs.shown[1].title, "KELDTS - Reset All Nodes");
    EXPECT_TRUE(QFile::exists(tb.file("CONTROL.DAT")));
}

TEST_F(NodeCommandsTest, TheCommandLineChecksItsWordsAndObeysThePopupsRules) {
    EXPECT_EQ(ctl("status"), QStringLiteral("-"));
    EXPECT_EQ(ctl("node 0 reset"), QStringLiteral("unknown node: 0"));
    EXPECT_EQ(ctl("node 5 reset"), QStringLiteral("unknown node: 5"));
    EXPECT_EQ(ctl("node 1 dance"), QStringLiteral("unknown node command: dance"));
    EXPECT_TRUE(ctl("node 1").startsWith(QStringLiteral("unknown command: usage")));
    EXPECT_EQ(ctl("reset-all"), QStringLiteral("(*) ALL Nodes Reset"));
    EXPECT_TRUE(ctl("node 1 boot")
                    .startsWith("unknown here: boot is not offered for node 1 now "
                                "(nobody is on it)"));
    EXPECT_TRUE(ctl("boot-all").startsWith("unknown here"));
    occupy(1, 42);
    tb.board->serverConfig.setI16("ipfiltermode", 1);
    EXPECT_TRUE(ctl("node 1 block").endsWith("(the IP list allows only its entries)"));
    tb.board->mainConfig.setI16("sysfkey", 1);
    EXPECT_TRUE(ctl("node 1 chat").endsWith("(SysOp F-key Lockout is on)"));
    EXPECT_TRUE(host.typed.isEmpty());
    EXPECT_TRUE(ctl("boot-all").startsWith("(*) All Users Booted"));
}

TEST_F(NodeCommandsTest, ResetAndCloseAskOnlyAboutANodeInUseStopAtNoAndGoAheadAtYes) {
    QProcess node;
    node.start("/bin/sh", {"-c", "sleep 60 & wait"});
    ASSERT_TRUE(node.waitForStarted());
    occupy(1, 42, node.processId());
    tb.write("KTSN1.BAT", "@echo off\r\n");
    tb.dialogs.answers = {false, false};
    commands.run(NodeCommands::Command::Reset, 1, tb.dialogs);
    commands.run(NodeCommands::Command::Close, 1, tb.dialogs);
    ASSERT_EQ(tb.dialogs.shown.size(), 2u);
    EXPECT_EQ(tb.dialogs.shown[0].title, "KELDTS - Reset Node 1");
    EXPECT_EQ(tb.dialogs.shown[1].title, "KELDTS - Close Node 1");
    EXPECT_TRUE(tb.dialogs.shown[1].text.contains(
        QStringLiteral("This action will close the node window and disconnect the user.")));
    EXPECT_TRUE(QFile::exists(table.stateFilePath(1)));

    // An idle node: no question; Reset frees the tables, Close still tries the kill and fails
    // for want of a process.
    commands.run(NodeCommands::Command::Reset, 2, tb.dialogs);
    commands.run(NodeCommands::Command::Close, 2, tb.dialogs);
    EXPECT_EQ(tb.dialogs.shown.size(), 2u);
    EXPECT_TRUE(eventLog().contains(QStringLiteral("(2) Node Reset\r\n")));
    EXPECT_TRUE(eventLog().contains(QStringLiteral("(2) Node Closing Failure\r\n")));
    EXPECT_TRUE(tb.pane.lines().last().endsWith(QStringLiteral(" : Node 2 Closing Failed")));

    // The command line's --yes is the sysop's answer.
    EXPECT_EQ(ctl("node 1 reset --yes"), QStringLiteral("(1) Node Reset"));
    EXPECT_FALSE(QFile::exists(table.stateFilePath(1)));
    EXPECT_EQ(table.rows().value(0), "Node 1 - Waiting...");

    // Its window still stands, so the node is taken back; closing it ends its process tree.
    EXPECT_EQ(ctl("node 1 close --yes"), QStringLiteral("(1) Node Closed"));
    EXPECT_TRUE(node.waitForFinished(5000));
    EXPECT_FALSE(QFile::exists(tb.file("KTSN1.BAT")) || QFile::exists(table.stateFilePath(1)));
}

} // namespace
