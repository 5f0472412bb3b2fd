#include "server/NodeCommands.h"
#include "data/RecordFile.h"
#include "data/SystemConfig.h"
#include "data/records/BoardFiles.h"
#include "server/NodeTable.h"
#include "support/FakeNodeHost.h"
#include "support/TestBoard.h"

#include <QProcess>

#include <csignal>
#include <gtest/gtest.h>
#include <sys/wait.h>

namespace {

class NodeCommandsTest : public ::testing::Test {
  protected:
    NodeCommandsTest() {
        loadSystemConfig(*tb.board);
        table.refreshNodeList();
    }

    // Node `node` as a launch leaves it: a window, a state file, and a caller in CONTROL.DAT.
    void occupy(int node, qint64 window, qint64 pid = 0) {
        host.add(NodeTable::windowTitle(node), window, pid);
        ASSERT_TRUE(table.writeStateFile(node, pid, 0, window, 7));
        Record r(controlLayout());
        r.setText("action", QStringLiteral("Main Menu"));
        r.setText("handle", QStringLiteral("Caller"));
        r.setI32("usernumber", 5);
        QString error;
        ASSERT_TRUE(recordfile::write(table.controlPath(), node + 1, r, &error));
        table.refreshNodeList();
    }
    QString eventLog() const { return QString::fromLatin1(tb.read(QStringLiteral("KELDTS.LOG"))); }
    QByteArray bbsLog() const { return tb.read(QStringLiteral("DATA/BBS.LOG")); }
    QString ctl(const QString& words) {
        return commands.control(words.split(QLatin1Char(' '))).value_or(QStringLiteral("-"));
    }

    TestBoard tb;
    FakeNodeHost host;
    NodeTable table{*tb.board, host, tb.logs};
    NodeCommands commands{*tb.board, tb.logs, table, host};
};

TEST_F(NodeCommandsTest, PopupOffersPerNodeEntriesOnlyForANodeInUseAndBySettings) {
    const QStringList always{QStringLiteral("mnuNodeReset"), QStringLiteral("mnuNodeResetAll")};
    EXPECT_EQ(commands.popupEntries(1), always);

    occupy(2, 42);
    const QStringList all =
        always + QStringList{QStringLiteral("mnuNodeShowAll"), QStringLiteral("mnuNodeHideAll"),
                             QStringLiteral("mnuNodeBootAll"), QStringLiteral("mnuNodeSeperator0"),
                             QStringLiteral("mnuNodeSeperator1")};
    EXPECT_EQ(commands.popupEntries(1), all);
    const QStringList node = {
        QStringLiteral("mnuNodeShow"),      QStringLiteral("mnuNodeHide"),
        QStringLiteral("mnuNodeSeperator"), QStringLiteral("mnuNodeClose"),
        QStringLiteral("mnuNodeEdit"),      QStringLiteral("mnuNodeChat"),
        QStringLiteral("mnuNodeBoot"),      QStringLiteral("mnuNodeLineNoise")};
    const QStringList block{QStringLiteral("mnuNodeSeperator2"), QStringLiteral("mnuNodeBlockIp")};
    EXPECT_EQ(commands.popupEntries(2), all + node + block);

    tb.board->serverConfig.setI16("ipfiltermode", 1);
    EXPECT_EQ(commands.popupEntries(2), all + node);
    tb.board->mainConfig.setI16("sysfkey", 1);
    EXPECT_EQ(commands.popupEntries(2), all);
}

TEST_F(NodeCommandsTest, KeystrokeCommandsTypeTheBbsKeysAndLogBoth) {
    occupy(1, 42);
    ScriptedDialogs answers;
    commands.run(NodeCommands::Command::Chat, 1, answers);
    commands.run(NodeCommands::Command::Boot, 1, answers);
    commands.run(NodeCommands::Command::LineNoise, 1, answers);
    commands.run(NodeCommands::Command::Boot, 3, answers); // no window: nothing typed or logged
    ASSERT_EQ(host.typed.size(), 3);
    const auto key = [](const char* name, int virtualKey, bool shift) {
        KeyStroke k;
        k.name = QLatin1String(name);
        k.virtualKey = virtualKey;
        k.shift = shift;
        return k;
    };
    const KeyStroke f1 = key("F1", 112, true), f10 = key("F10", 121, false),
                    shiftF10 = key("F10", 121, true);
    EXPECT_EQ(host.typed[0], std::make_pair(qint64(42), QList<KeyStroke>{f1}));
    EXPECT_EQ(host.typed[1].second, QList<KeyStroke>{f10});
    EXPECT_EQ(host.typed[2].second, QList<KeyStroke>{shiftF10});
    // The chat needs the sysop at the console; booting does not bring it up.
    EXPECT_EQ(host.shown, (QList<std::pair<qint64, NodeHost::Show>>{{42, NodeHost::Show::Normal}}));
    EXPECT_EQ(bbsLog(), "CH 1 Entered Chat With SysOp (Shift+F1)\r\n"
                        "CH 1 User Booted Offline By SysOp (F10)\r\n"
                        "CH 1 User Booted Offline By SysOp (Shift+F10)\r\n");
    EXPECT_TRUE(eventLog().contains(QStringLiteral("(1) Entered Chat With SysOp (Shift+F1)\r\n")));
    EXPECT_TRUE(eventLog().contains(QStringLiteral("(1) User Booted Offline By SysOp (F10)\r\n")));

    occupy(2, 43);
    commands.run(NodeCommands::Command::BootAll, 0, answers);
    EXPECT_EQ(host.typed.size(), 5);
    EXPECT_TRUE(bbsLog().endsWith("CH x All Users Booted Offline By SysOp\r\n"));
    EXPECT_TRUE(eventLog().endsWith(QStringLiteral("(*) All Users Booted Offline By SysOp\r\n")));

    // A console that cannot take keys says so, and nothing claims the caller was booted.
    host.keysRefused = QStringLiteral("no console");
    const QByteArray before = bbsLog();
    EXPECT_EQ(ctl(QStringLiteral("node 1 boot")),
              QStringLiteral("node 1 cannot take keys: no console"));
    EXPECT_EQ(bbsLog(), before);
    EXPECT_TRUE(
        tb.pane.lines().last().endsWith(QStringLiteral(" : Node 1 cannot take keys: no console")));
}

TEST_F(NodeCommandsTest, ResetAndCloseAskOnlyAboutANodeInUseAndStopAtNo) {
    occupy(1, 42);
    tb.dialogs.answers = {false, false};
    commands.run(NodeCommands::Command::Reset, 1, tb.dialogs);
    commands.run(NodeCommands::Command::Close, 1, tb.dialogs);
    ASSERT_EQ(tb.dialogs.shown.size(), 2u);
    EXPECT_EQ(tb.dialogs.shown[0].title, QStringLiteral("KELDTS - Reset Node 1"));
    EXPECT_EQ(tb.dialogs.shown[0].text.split(QLatin1Char('\n')).size(), 4);
    EXPECT_EQ(tb.dialogs.shown[1].title, QStringLiteral("KELDTS - Close Node 1"));
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

    // From the command line a node in use needs --yes.
    EXPECT_TRUE(
        ctl(QStringLiteral("node 1 reset")).endsWith(QStringLiteral("add --yes to go ahead")));
    EXPECT_TRUE(table.isNodeInUse(1));
    EXPECT_EQ(ctl(QStringLiteral("node 1 reset --yes")), QStringLiteral("(1) Node Reset"));
    EXPECT_FALSE(QFile::exists(table.stateFilePath(1)));
    EXPECT_EQ(table.rows().value(0), QStringLiteral("Node 1 - Waiting..."));
}

TEST_F(NodeCommandsTest, CloseEndsTheNodesProcessTreeAndItsFiles) {
    QProcess node;
    node.start(QStringLiteral("/bin/sh"),
               {QStringLiteral("-c"), QStringLiteral("sleep 60 & wait")});
    ASSERT_TRUE(node.waitForStarted());
    occupy(1, 42, node.processId());
    tb.write(QStringLiteral("KTSN1.BAT"), "@echo off\r\n");
    tb.dialogs.answers = {true};
    commands.run(NodeCommands::Command::Close, 1, tb.dialogs);
    EXPECT_TRUE(node.waitForFinished(5000));
    EXPECT_FALSE(QFile::exists(tb.file(QStringLiteral("KTSN1.BAT"))));
    EXPECT_FALSE(QFile::exists(table.stateFilePath(1)));
    EXPECT_TRUE(eventLog().contains(QStringLiteral("(1) Node Closed\r\n")));
}

TEST_F(NodeCommandsTest, CommandLineWordsAreCheckedBeforeAnythingRuns) {
    EXPECT_EQ(ctl(QStringLiteral("status")), QStringLiteral("-"));
    EXPECT_EQ(ctl(QStringLiteral("node 0 reset")), QStringLiteral("unknown node: 0"));
    EXPECT_EQ(ctl(QStringLiteral("node 5 reset")), QStringLiteral("unknown node: 5"));
    EXPECT_EQ(ctl(QStringLiteral("node 1 dance")), QStringLiteral("unknown node command: dance"));
    EXPECT_TRUE(ctl(QStringLiteral("node 1")).startsWith(QStringLiteral("unknown command: usage")));
    EXPECT_EQ(ctl(QStringLiteral("reset-all")), QStringLiteral("(*) ALL Nodes Reset"));
    EXPECT_FALSE(eventLog().isEmpty());
}

} // namespace
