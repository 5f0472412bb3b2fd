#include "server/NodeTable.h"
#include "data/RecordFile.h"
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

// An idle CONTROL.DAT record: the rate, "Waiting...", a blank handle, on since START on 900101,
// credits "0" and blank flags.
QByteArray idleBytes(qint32 baud) {
    QByteArray r = QByteArray(4, '\0') + QByteArray("Waiting...").leftJustified(24) +
                   QByteArray(4, '\0') + QByteArray(32, ' ') + QByteArray(10, '\0') +
                   "START   900101" + QByteArray(6, '\0') + "0" + QByteArray(11, ' ');
    qToLittleEndian(baud, r.data());
    return r;
}

TEST_F(NodeTableTest, RefreshGrowsControlDatKeepsSurplusAnnouncesChangedRowsAndResetIdlesOne) {
    setBaud(2, 38400);
    tb.write("CONTROL.DAT", QByteArray());

    table.refreshNodeList();
    EXPECT_EQ(control(), idleBytes(0).repeated(2) + idleBytes(38400) + idleBytes(0).repeated(2));

    tb.setNodeAction(1, QStringLiteral("  Reading Mail "), QStringLiteral(" Bob "), 7);
    tb.setNodeAction(2, QStringLiteral("In the WAITING room"), QStringLiteral("Ann"), 3);
    tb.setNodeAction(3, QString());
    changes.clear();
    table.refreshNodeList();
    // Nodes 2 and 3 still show as waiting: their rows did not change.
    EXPECT_EQ(changes, QStringList({"0=Node 1 - 7 - Bob - Reading Mail - 12:30"}));

    // A torn last record is overwritten from its start; the busy record before it stays.
    tb.setNodeAction(1, QStringLiteral("Chatting"));
    tb.write("CONTROL.DAT", control().left(2 * 106 + 50));
    tb.board->mainConfig.setI16("maxchannelno", 10);
    table.refreshNodeList();
    ASSERT_EQ(control().size(), 11 * 106);
    EXPECT_EQ(control().mid(2 * 106, 106), idleBytes(38400));
    EXPECT_EQ(table.rows().size(), 10);
    EXPECT_TRUE(table.rows().at(0).startsWith("Node  1 - 0 -  - Chatting"));

    tb.board->mainConfig.setI16("maxchannelno", 2);
    table.refreshNodeList();
    EXPECT_EQ(control().size(), 11 * 106);
    EXPECT_EQ(table.rows(),
              QStringList({"Node 1 - 0 -  - Chatting - 12:30", "Node 2 - Waiting..."}));

    // A reset writes one node's idle record.
    tb.setNodeAction(2, QStringLiteral("Chatting"), QStringLiteral("Bob"), 9);
    setBaud(2, 57600);
    const QByteArray before = control();
    table.resetNodeRecord(2);
    EXPECT_EQ(control(), before.left(2 * 106) + idleBytes(57600) + before.mid(3 * 106));

    QFile::remove(tb.file("CONTROL.DAT"));
    QDir().mkdir(tb.file("CONTROL.DAT"));
    table.resetNodeRecord(1);
    EXPECT_EQ(tb.pane.lines(), QStringList{"Error: Error with CONTROL.DAT"});
}

TEST_F(NodeTableTest, InUseRulesAndAFreeNodeIsFoundByWindowsAndStateFilesOnly) {
    EXPECT_FALSE(table.isNodeInUse(1)) << "no CONTROL.DAT";
    table.refreshNodeList();
    EXPECT_FALSE(table.isNodeInUse(0));

    tb.board->admitting.insert(3, QStringLiteral("10.0.0.1"));
    EXPECT_TRUE(table.isNodeInUse(3) && table.isNodeInUse(0));
    EXPECT_TRUE(table.isNodeInUse(101)) << "out of range asks about all";
    tb.board->admitting.clear();

    host.add(NodeTable::windowTitle(2), 17);
    EXPECT_TRUE(table.isNodeInUse(2) && table.isNodeInUse(0));
    host.open.clear();
    QFile::remove(temp("KELDTS.2"));

    // A window on a node beyond the end of CONTROL.DAT does not count.
    host.add(NodeTable::windowTitle(5), 21);
    EXPECT_FALSE(table.isNodeInUse(5) || table.isNodeInUse(0));

    // The list calls this node idle, yet only the exact idle text counts for being in use.
    tb.setNodeAction(4, QStringLiteral("waiting..."));
    EXPECT_TRUE(table.isNodeInUse(4) && table.isNodeInUse(0));

    // Finding a free node looks at windows and state files only.
    tb.board->serverConfig.setI16("startnode", 2);
    tb.board->serverConfig.setI16("maxconnections", 3);
    tb.setNodeAction(2, QStringLiteral("Chatting"));
    EXPECT_EQ(table.findFreeNode(), 2);
    host.add(NodeTable::windowTitle(2), 5);
    tb.write("TEMP/KELDTS.3", "1\r\n");
    EXPECT_EQ(table.findFreeNode(), 4);
    tb.write("TEMP/KELDTS.4", "1\r\n");
    EXPECT_EQ(table.findFreeNode(), 0);
}

// Adopting a running node's window is the watchdog's test's business.
TEST_F(NodeTableTest, StateFilesAreReadByLineWrittenWithAStampAndPurgedForNodesNotRunning) {
    const struct {
        QByteArray text;
        qint64 window, pid;
    } files[] = {{"555\r\n", 0, 555},
                 {"555\r\n66\r\n", 66, 555},
                 {"555\n66\n 99 \n123\n", 99, 555},
                 {"\xff\x01junk\r\nxx\r\n", 0, 0},
                 {"", 0, 0}};
    for (const auto& f : files) {
        tb.write("TEMP/KELDTS.1", f.text);
        EXPECT_EQ(table.getNodeWindow(1), f.window) << f.text.toStdString();
        EXPECT_EQ(table.getNodeProcessId(1), f.pid) << f.text.toStdString();
    }
    EXPECT_EQ(table.getNodeProcessId(2), 0) << "no file";

    tb.clock.set(QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5)));
    ASSERT_TRUE(table.writeStateFile(2, 100, 200, 300, 400));
    EXPECT_EQ(tb.read("TEMP/KELDTS.2"),
              "100\r\n200\r\n300\r\n400\r\n\r\n"
              "This file created by KELDTS v2.6.060524 @ 03:04:05 on 01/02/2026\r\n");

    // Only the telnet range's files of nodes not running are purged (purging one node's files
    // when its caller leaves is seen end to end), and failures are said.
    for (int node : {3, 4, 5}) {
        ASSERT_TRUE(table.makeNodeDirectory(node));
        tb.write(QStringLiteral("TEMP/KELDTS.%1").arg(node), "1\r\n");
        tb.write(QStringLiteral("TEMP/N%1/TCPIP.CFG").arg(node), "x\r\n");
    }
    host.add(NodeTable::windowTitle(3), 13); // outlived the last server
    table.deleteAllNodeFiles(); // telnet range 1..4; a missing file is no error (see below)
    EXPECT_FALSE(QFile::exists(temp("KELDTS.4")) || QFile::exists(temp("N4/TCPIP.CFG")));
    for (int node : {3, 5})
        EXPECT_TRUE(QFile::exists(temp(QStringLiteral("KELDTS.%1").arg(node))) &&
                    QFile::exists(temp(QStringLiteral("N%1/TCPIP.CFG").arg(node))))
            << node;
    EXPECT_TRUE(QDir(temp("N4")).exists());

    // A state "file" that cannot be removed.
    ASSERT_TRUE(QDir().mkpath(temp("KELDTS.2/x")));
    table.deleteNodeFiles(2);
    table.deleteAllNodeFiles();
    EXPECT_EQ(tb.pane.lines(), QStringList({"Error: Error Occurred While Purging Node 2",
                                            "Error: Error While Purging ALL Nodes"}));
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
    tb.write("CHANNELX.CFG", old.bytes().repeated(2));
    ASSERT_TRUE(table.configureNodeChannel(2));

    EXPECT_EQ(tb.read("CHANNELX.CFG"), old.bytes() + fossilChannel(204, 180));
    EXPECT_EQ(tb.read("CHANNELS.CFG").mid(64), fossilChannel(64, 40));

    ASSERT_TRUE(table.configureNodeChannel(0));
    ASSERT_TRUE(table.configureNodeChannel(101));
    EXPECT_EQ(tb.read("CHANNELX.CFG").size(), 2 * 204);
}

} // namespace
