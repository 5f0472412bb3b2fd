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
        nodes.launchNode(node, pair[0], handle, [&](bool) { done = true; });
        EXPECT_TRUE(done);
        return pair[1];
    }

    TestBoard tb;
    FakeNodeHost host;
    BoardNodes nodes{*tb.board, tb.logs, host};
};

// The sysop's LOADBBS.BAT, run when nodes are not handled internally, is seen end to end.
TEST_F(BoardNodesTest, ADosBatchRunsThroughTheRunnerTemplateOrFailsAndHangsUp) {
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

    tb.board->platform.dosRun = QStringLiteral("dosbox -socket {fd} -c {batch} -n{node}");
    tb.board->serverConfig.setI16("runminimized", 2);
    host.nextStart = {5, 55, {}};
    ::close(launch(2, QStringLiteral("8")));
    ASSERT_EQ(host.launches.size(), 1);
    const NodeHost::Launch& request = host.launches.first();
    EXPECT_EQ(request.command,
              QStringList({"dosbox", "-socket", "8", "-c", tb.file("KTSN2.BAT"), "-n2"}));
    EXPECT_EQ(request.show, NodeHost::Show::Hidden);
    EXPECT_TRUE(tb.read("TEMP/KELDTS.2").startsWith("55\r\n0\r\n5\r\n8\r\n\r\n"));
    ::close(request.socketFd);
}

// Whoever shares the board's group could put a link at the name of a file made for a node, to
// have the server overwrite a file of theirs choosing.
TEST_F(BoardNodesTest, FilesMadeForANodeReplaceALinkPlantedAtTheirName) {
    tb.board->serverConfig.setI16("autoload", 1);
    tb.board->platform.dosRun = QStringLiteral("dosbox");
    const QStringList names{"TEMP/N3/TCPIP.CFG", "KTSN3.BAT", "TEMP/DOSBOX/N3-KTSN3.BAT.CNF",
                            "TEMP/KELDTS.3"};
    QStringList outside;
    for (const QString& name : names)
        outside << tb.plantLink(name);
    EXPECT_TRUE(nodes.writeTcpipCfg(QStringLiteral("8"), 3, QStringLiteral("10.0.0.9"),
                                    QStringLiteral("caller.example")));
    host.nextStart = {5, 55, {}};
    ::close(launch(3, QStringLiteral("8")));
    ASSERT_EQ(host.launches.size(), 1);
    EXPECT_TRUE(host.launches.first().command.contains(tb.file(names[2])));
    ::close(host.launches.first().socketFd);
    for (qsizetype i = 0; i < names.size(); ++i)
        EXPECT_TRUE(tb.linkReplaced(names[i], outside[i])) << names[i].toStdString();
    EXPECT_TRUE(tb.read(names[0]).startsWith("8\r\n10.0.0.9\r\ncaller.example\r\n"));
    EXPECT_TRUE(tb.read(names[1]).startsWith("@ECHO OFF\r\n"));
    EXPECT_TRUE(tb.read(names[2]).contains("CALL KTSN3.BAT\n"));
    EXPECT_TRUE(tb.read(names[3]).startsWith("55\r\n0\r\n5\r\n8\r\n"));
}

// Freeing a node whose window went, and sparing the others, is seen end to end.
TEST_F(BoardNodesTest, TheWatchdogAsksTheHostOnceARoundAdoptsPastGapsAndLooksOnlyAtTelnetNodes) {
    const auto title = [](int node) { return QStringLiteral("Node[%1] - KELDTS").arg(node); };
    // A node that outlived the last server, behind a free node 1 and with no state file at all.
    host.add(title(2), 12, 102);
    nodes.watchNodes();
    EXPECT_EQ(tb.read("TEMP/KELDTS.2"), "102\r\n0\r\n12\r\n0\r\n");

    for (int node : {1, 4}) {
        host.add(title(node), 10 + node, 100 + node);
        tb.write(QStringLiteral("TEMP/KELDTS.%1").arg(node), "0\r\n0\r\n0\r\n7\r\n");
    }
    tb.write("TEMP/KELDTS.3", "0\r\n0\r\n13\r\n7\r\n"); // its window is gone
    tb.write("TEMP/KELDTS.9", "0\r\n0\r\n0\r\n0\r\n");  // outside the telnet range
    host.requests = host.windowQueries = host.singleQueries = 0;
    nodes.watchNodes();
    EXPECT_EQ(host.requests, 1);
    EXPECT_EQ(host.windowQueries, 1);
    EXPECT_EQ(host.singleQueries, 0);
    EXPECT_FALSE(QFile::exists(tb.file("TEMP/KELDTS.3")));
    EXPECT_TRUE(QFile::exists(tb.file("TEMP/KELDTS.2")));
    EXPECT_TRUE(QFile::exists(tb.file("TEMP/KELDTS.9")));
}

} // namespace
