#include "server/NodeTable.h"
#include "data/RecordFile.h"
#include "data/SystemConfig.h"
#include "data/records/BoardFiles.h"
#include "support/FakeNodeHost.h"
#include "support/TestBoard.h"

#include <QDir>
#include <QtEndian>

#include <gtest/gtest.h>

namespace {

class NodeTableTest : public ::testing::Test {
  protected:
    NodeTableTest() {
        tb.loadSettings();
        QObject::connect(&table, &NodeTable::rowChanged, [this](int i, const QString& t) {
            changes << QStringLiteral("%1=%2").arg(i).arg(t);
        });
    }
    QString temp(const QString& name) const { return tb.file("TEMP/" + name); }
    void writeTemp(const QString& name, const QByteArray& bytes) {
        tb.write("TEMP/" + name, bytes);
    }
    QByteArray control() const { return tb.read("CONTROL.DAT"); }
    void setBaud(int node, qint32 baud) {
        Record channel(channelXLayout());
        channel.setI32("baudrate", baud);
        ASSERT_TRUE(recordfile::write(tb.file("CHANNELX.CFG"), node, channel).ok());
    }

    TestBoard tb;
    FakeNodeHost host;
    NodeTable table{*tb.board, host, tb.logs};
    QStringList changes;
};

QByteArray idleBytes(qint32 baud) {
    QByteArray r(106, '\0');
    qToLittleEndian(baud, r.data());
    auto put = [&](int at, int width, const QByteArray& s) {
        r.replace(at, width, s.leftJustified(width, ' '));
    };
    put(4, 24, "Waiting...");
    put(32, 32, "");
    put(74, 8, "START");
    put(82, 6, "900101");
    put(94, 8, "0");
    put(102, 4, "");
    return r;
}

TEST_F(NodeTableTest, RefreshGrowsControlDatAndKeepsSurplus) {
    setBaud(2, 38400);
    tb.write("CONTROL.DAT", QByteArray());

    table.refreshNodeList();
    ASSERT_EQ(control().size(), 5 * 106);
    EXPECT_EQ(control().mid(0, 106), idleBytes(0));
    EXPECT_EQ(control().mid(2 * 106, 106), idleBytes(38400));
    EXPECT_EQ(table.rows(), QStringList({"Node 1 - Waiting...", "Node 2 - Waiting...",
                                         "Node 3 - Waiting...", "Node 4 - Waiting..."}));

    // A torn last record is overwritten from its start; the busy record before it stays.
    tb.setNodeAction(1, QStringLiteral("Chatting"));
    tb.write("CONTROL.DAT", control().left(2 * 106 + 50));
    tb.board->mainConfig.setI16("maxchannelno", 10);
    table.refreshNodeList();
    ASSERT_EQ(control().size(), 11 * 106);
    EXPECT_EQ(control().mid(2 * 106, 106), idleBytes(38400));
    EXPECT_EQ(table.rows().size(), 10);
    EXPECT_EQ(table.rows().at(1), "Node  2 - Waiting...");
    EXPECT_EQ(table.rows().at(9), "Node 10 - Waiting...");
    EXPECT_TRUE(table.rows().at(0).startsWith("Node  1 - 0 -  - Chatting"));

    tb.board->mainConfig.setI16("maxchannelno", 2);
    table.refreshNodeList();
    EXPECT_EQ(control().size(), 11 * 106);
    EXPECT_EQ(table.rows(),
              QStringList({"Node 1 - 0 -  - Chatting - 12:30", "Node 2 - Waiting..."}));
}

TEST_F(NodeTableTest, RowTextsAndOnlyChangedRowsAnnounced) {
    table.refreshNodeList();
    tb.setNodeAction(1, QStringLiteral("  Reading Mail "), QStringLiteral(" Bob "), 7);
    tb.setNodeAction(2, QStringLiteral("In the WAITING room"), QStringLiteral("Ann"), 3);
    tb.setNodeAction(3, QString());
    changes.clear();
    table.refreshNodeList();
    EXPECT_EQ(changes, QStringList({"0=Node 1 - 7 - Bob - Reading Mail - 12:30"}));
    EXPECT_EQ(table.rows().at(1), "Node 2 - Waiting...");
    EXPECT_EQ(table.rows().at(2), "Node 3 - Waiting...");

    // The list calls node 2 idle, yet only the exact idle text counts for being in use.
    EXPECT_TRUE(table.isNodeInUse(2));
}

TEST_F(NodeTableTest, InUseRules) {
    EXPECT_FALSE(table.isNodeInUse(1)) << "no CONTROL.DAT";
    EXPECT_FALSE(table.isNodeInUse(0));
    table.refreshNodeList();
    EXPECT_FALSE(table.isNodeInUse(0));
    EXPECT_FALSE(table.isNodeInUse(-3));

    tb.board->pendingNode = 3;
    EXPECT_TRUE(table.isNodeInUse(3));
    EXPECT_TRUE(table.isNodeInUse(0));
    EXPECT_TRUE(table.isNodeInUse(101)) << "out of range asks about all";
    tb.board->pendingNode = 0;

    host.add(NodeTable::windowTitle(2), 17);
    EXPECT_TRUE(table.isNodeInUse(2));
    EXPECT_TRUE(table.isNodeInUse(0));
    host.open.clear();
    QFile::remove(temp("KELDTS.2"));

    // A window on a node beyond the end of CONTROL.DAT does not count.
    host.add(NodeTable::windowTitle(5), 21);
    EXPECT_FALSE(table.isNodeInUse(5));
    EXPECT_FALSE(table.isNodeInUse(0));

    tb.setNodeAction(4, QStringLiteral("waiting..."));
    EXPECT_TRUE(table.isNodeInUse(4));
    EXPECT_TRUE(table.isNodeInUse(0));
}

// Adopting a running node's window is seen end to end.
TEST_F(NodeTableTest, StateFilesAreReadLineByLineAndWrittenWithAStamp) {
    const struct {
        QByteArray text;
        qint64 window, pid;
    } files[] = {{"555\r\n", 0, 555},
                 {"555\r\n66\r\n", 66, 555},
                 {"555\n66\n 99 \n123\n", 99, 555},
                 {"\xff\x01junk\r\nxx\r\n", 0, 0},
                 {"", 0, 0}};
    for (const auto& f : files) {
        writeTemp("KELDTS.1", f.text);
        EXPECT_EQ(table.getNodeWindow(1), f.window) << f.text.toStdString();
        EXPECT_EQ(table.getNodeProcessId(1), f.pid) << f.text.toStdString();
    }
    EXPECT_EQ(table.getNodeProcessId(2), 0) << "no file";

    tb.clock.set(QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5)));
    ASSERT_TRUE(table.writeStateFile(2, 100, 200, 300, 400));
    EXPECT_EQ(tb.read("TEMP/KELDTS.2"),
              "100\r\n200\r\n300\r\n400\r\n\r\n"
              "This file created by KELDTS v2.6.060524 @ 03:04:05 on 01/02/2026\r\n");
    EXPECT_EQ(table.getNodeWindow(2), 300);
}

TEST_F(NodeTableTest, FreeNodeLooksAtWindowsAndStateFilesOnly) {
    tb.board->serverConfig.setI16("startnode", 2);
    tb.board->serverConfig.setI16("maxconnections", 3);
    table.refreshNodeList();
    tb.setNodeAction(2, QStringLiteral("Chatting"));
    EXPECT_EQ(table.findFreeNode(), 2);
    host.add(NodeTable::windowTitle(2), 5);
    writeTemp("KELDTS.3", "1\r\n");
    EXPECT_EQ(table.findFreeNode(), 4);
    writeTemp("KELDTS.4", "1\r\n");
    EXPECT_EQ(table.findFreeNode(), 0);
}

TEST_F(NodeTableTest, ResetNodeRecordWritesTheIdleRecord) {
    table.refreshNodeList();
    tb.setNodeAction(2, QStringLiteral("Chatting"), QStringLiteral("Bob"), 9);
    setBaud(2, 57600);
    const QByteArray before = control();
    table.resetNodeRecord(2);
    EXPECT_EQ(control(), before.left(2 * 106) + idleBytes(57600) + before.mid(3 * 106));
    table.resetNodeRecord(0);
    EXPECT_EQ(control().left(106), idleBytes(0));
    EXPECT_TRUE(tb.pane.lines().isEmpty());

    QFile::remove(tb.file("CONTROL.DAT"));
    QDir().mkdir(tb.file("CONTROL.DAT"));
    table.resetNodeRecord(1);
    EXPECT_EQ(tb.pane.lines(), QStringList{"Error: Error with CONTROL.DAT"});
}

// A channel record with blank text, 115200 at `baudAt`, FOSSIL device 0 at 3F8h, IRQ 4.
QByteArray fossilChannel(int length, int baudAt) {
    QByteArray r(length, '\0');
    r.replace(0, baudAt, QByteArray(baudAt, ' '));
    r.replace(length - 4, 4, "    ");
    qToLittleEndian<qint32>(115200, r.data() + baudAt);
    qToLittleEndian<qint16>(65, r.data() + baudAt + 8);
    qToLittleEndian<qint16>(0x3F8, r.data() + baudAt + 12);
    qToLittleEndian<qint16>(4, r.data() + baudAt + 14);
    return r;
}

TEST_F(NodeTableTest, ConfigureNodeChannelWritesFossilChannel) {
    Record old(channelXLayout());
    old.setText("init1", QStringLiteral("ATZ"));
    old.setI16("lockedbaud", 1);
    const QString x = tb.file("CHANNELX.CFG");
    ASSERT_TRUE(recordfile::write(x, 1, old).ok() && recordfile::write(x, 2, old).ok());
    ASSERT_TRUE(table.configureNodeChannel(2));

    EXPECT_EQ(tb.read("CHANNELX.CFG"), old.bytes() + fossilChannel(204, 180));
    EXPECT_EQ(tb.read("CHANNELS.CFG").mid(64), fossilChannel(64, 40));

    table.configureNodeChannel(0);
    table.configureNodeChannel(101);
    EXPECT_EQ(tb.read("CHANNELX.CFG").size(), 2 * 204);
}

TEST_F(NodeTableTest, NodeFilesAreMadeAndPurged) {
    for (int node : {1, 2, 3, 4, 5}) {
        ASSERT_TRUE(table.makeNodeDirectory(node));
        ASSERT_TRUE(table.makeNodeDirectory(node));
        writeTemp(QStringLiteral("KELDTS.%1").arg(node), "1\r\n");
        writeTemp(QStringLiteral("N%1/TCPIP.CFG").arg(node), "x\r\n");
    }
    table.deleteNodeFiles(5);
    EXPECT_FALSE(QFile::exists(temp("KELDTS.5")) || QFile::exists(temp("N5/TCPIP.CFG")));
    EXPECT_TRUE(QDir(temp("N5")).exists());
    writeTemp("KELDTS.5", "1\r\n");

    table.deleteAllNodeFiles(); // telnet range 1..4
    for (int node : {1, 2, 3, 4})
        EXPECT_FALSE(QFile::exists(temp(QStringLiteral("KELDTS.%1").arg(node))) ||
                     QFile::exists(temp(QStringLiteral("N%1/TCPIP.CFG").arg(node))))
            << node;
    EXPECT_TRUE(QFile::exists(temp("KELDTS.5")));
    table.deleteNodeFiles(3); // nothing left to delete is no error
    EXPECT_TRUE(tb.pane.lines().isEmpty());

    // A state "file" that cannot be removed.
    ASSERT_TRUE(QDir().mkpath(temp("KELDTS.2/x")));
    table.deleteNodeFiles(2);
    table.deleteAllNodeFiles();
    EXPECT_EQ(tb.pane.lines(), QStringList({"Error: Error Occurred While Purging Node 2",
                                            "Error: Error While Purging ALL Nodes"}));
}

} // namespace
