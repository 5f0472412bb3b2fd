#include "server/BoardNodes.h"

#include "data/SystemConfig.h"
#include "support/FakeNodeHost.h"
#include "support/TestBoard.h"

#include <QFile>

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

namespace {

class BoardNodesTest : public ::testing::Test {
  protected:
    BoardNodesTest() { tb.loadSettings(); }

    // Launches node `node` with one end of a fresh socket pair; returns the other end.
    int launch(int node, const QString& handle) {
        int pair[2];
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair), 0);
        bool done = false;
        nodes.launchNode(node, pair[0], handle, [&] { done = true; });
        EXPECT_TRUE(done);
        return pair[1];
    }
    QString temp(const QString& name) const { return tb.file("TEMP/" + name); }

    TestBoard tb;
    FakeNodeHost host;
    BoardNodes nodes{*tb.board, tb.logs, host};
};

TEST_F(BoardNodesTest, TheSysopsLoadBbsRunsWhenNodesAreNotHandledInternally) {
    tb.board->serverConfig.setI16("autoload", 0);
    tb.board->serverConfig.setI16("runminimized", 2);
    host.nextStart = {17, 4321, {}};
    const int caller = launch(3, QStringLiteral("1234"));
    ASSERT_EQ(host.launches.size(), 1);
    const NodeHost::Launch& request = host.launches.first();
    // Its command line and window title are seen end to end.
    EXPECT_EQ(request.targetFd, 1234);
    EXPECT_EQ(request.show, NodeHost::Show::Hidden);
    EXPECT_FALSE(QFile::exists(tb.file("KTSN3.BAT")));
    EXPECT_TRUE(tb.read("TEMP/KELDTS.3").startsWith("4321\r\n0\r\n17\r\n1234\r\n\r\n"));
    ::close(request.socketFd);
    ::close(caller);
}

TEST_F(BoardNodesTest, ADosBatchWithoutARunnerFailsAndHangsUp) {
    tb.board->serverConfig.setI16("autoload", 1);
    const int caller = launch(1, QStringLiteral("9"));
    EXPECT_TRUE(host.launches.isEmpty());
    EXPECT_TRUE(tb.read("KTSN1.BAT").startsWith("@ECHO OFF\r\n"));
    const QString why = QStringLiteral("Cannot run C:\\KELD\\KTSN1.BAT: it is a DOS batch and "
                                       "KELDTS.INI names no DOS runner ([Dos] run=)");
    EXPECT_TRUE(tb.pane.lines().contains(QStringLiteral("Error: ") + why));
    EXPECT_TRUE(tb.read("KELDTS.LOG").contains(why.toLatin1()));
    char byte;
    EXPECT_EQ(::recv(caller, &byte, 1, MSG_DONTWAIT), 0) << "the caller is hung up on";
    ::close(caller);
}

TEST_F(BoardNodesTest, ADosRunnerTemplateGetsTheBatchNodeAndHandle) {
    tb.board->serverConfig.setI16("autoload", 1);
    tb.board->platform.dosRun = QStringLiteral("dosbox -socket {fd} -c {batch} -n{node}");
    host.nextStart = {5, 55, {}};
    ::close(launch(2, QStringLiteral("8")));
    ASSERT_EQ(host.launches.size(), 1);
    EXPECT_EQ(host.launches.first().command,
              QStringList({"dosbox", "-socket", "8", "-c", tb.file("KTSN2.BAT"), "-n2"}));
    ::close(host.launches.first().socketFd);
}

TEST_F(BoardNodesTest, TheWatchdogAsksTheHostOnceARoundAndSparesLiveNodes) {
    for (int node = 1; node <= 4; ++node) {
        host.add(QStringLiteral("Node[%1] - KELDTS").arg(node), 10 + node, 100 + node);
        tb.write(QStringLiteral("TEMP/KELDTS.%1").arg(node),
                 QByteArray::number(100 + node) + "\r\n0\r\n" + QByteArray::number(10 + node) +
                     "\r\n7\r\n");
    }
    tb.write("TEMP/KELDTS.9", "1\r\n0\r\n0\r\n0\r\n"); // outside the telnet range
    host.open.removeAt(2);                             // node 3's window is gone
    host.windowQueries = host.singleQueries = 0;
    nodes.watchNodes();
    EXPECT_EQ(host.windowQueries, 1);
    EXPECT_EQ(host.singleQueries, 0);
    EXPECT_FALSE(QFile::exists(temp("KELDTS.3")));
    for (const char* kept : {"KELDTS.1", "KELDTS.2", "KELDTS.4", "KELDTS.9"})
        EXPECT_TRUE(QFile::exists(temp(QLatin1String(kept)))) << kept;
    EXPECT_EQ(nodes.nodeRows().value(2), "Node 3 - Waiting...");
}

} // namespace
