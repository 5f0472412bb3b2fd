// Callers on a board with four telnet nodes, run in tmux windows or as plain processes.

#include "KeldtsRunner.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QLocalSocket>
#include <QRegularExpression>
#include <QScopeGuard>

#include <algorithm>

namespace {

const QByteArray kDoEcho("\xff\xfd\x01", 3);
const QByteArray
    kOptions("\xff\xfd\x03\xff\xfb\x03\xff\xfe\x01\xff\xfb\x01\xff\xfc\x22\xff\xfc\x24", 18);
// Two watchdog rounds to free a node, and slack for a loaded machine.
constexpr int kFreedWithinMs = 3000;

class NodesE2e : public E2eTest {
  protected:
    static QByteArray greeting(int node) {
        return "\r\nWelcome to KELD Demo Board, node " + QByteArray::number(node) +
               ".\r\nWhat is your name? ";
    }
    QString accepted(int n) { return QString("(%1) Connection Accepted [127.0.0.1]").arg(n); }
    QString closed(int n) { return QString("(%1) Connection Closed").arg(n); }
    // Killed is enough: reaping the body is up to its parent.
    static bool processGone(const QString& pid) {
        const QByteArray stat = readFile("/proc/" + pid + "/stat");
        return stat.isEmpty() || stat.at(stat.lastIndexOf(')') + 2) == 'Z';
    }

    void SetUp() override { ASSERT_NO_FATAL_FAILURE(sandbox.writeBoard(true)); }

    // Its placeholder keeps a tmux server up; process-host nodes end with their callers.
    void TearDown() override {
        E2eTest::TearDown();
        if (!runtimeFiles("tmux-*").isEmpty())
            tmux({"kill-server"});
    }

    // Sockets and node files the server keeps beside the board or in its runtime directory.
    QStringList runtimeFiles(const QString& pattern) const {
        QDirIterator it(sandbox.root(), {pattern}, QDir::Files | QDir::System | QDir::Hidden,
                        QDirIterator::Subdirectories);
        QStringList found;
        while (it.hasNext())
            found << it.next();
        return found;
    }
    QString tmux(const QStringList& command) const {
        QProcess process;
        process.start("tmux", QStringList{"-S", runtimeFiles("tmux-*").value(0)} + command);
        process.waitForFinished(5000);
        return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
    }
    // The warm windows that wait for the next caller.
    QStringList spares() const {
        return tmux({"list-windows", "-F", "#{window_id}", "-f", "#{==:#{window_name},spare}"})
            .split('\n', Qt::SkipEmptyParts);
    }
    // "@id pid" of the node's window, or nothing.
    QString window(int node) const {
        return tmux({"list-windows", "-a", "-F", "#{window_id} #{pane_pid}", "-f",
                     QString("#{==:#{window_name},Node[%1] - KELDTS}").arg(node)});
    }

    // The node's row in the node list comes to show `name` in the main menu, or the node idle.
    void rowBecomes(int node, const QString& name = {}, int timeoutMs = 5000) const {
        const QRegularExpression row(
            QString("^Node %1 - %2$")
                .arg(node)
                .arg(name.isEmpty() ? "Waiting\\.\\.\\."
                                    : "1 - " + name + " - Main Menu - \\d\\d:\\d\\d"));
        const auto shown = [&] { return sandbox.ctl("nodes").split('\n').value(node - 1); };
        EXPECT_TRUE(waitUntil([&] { return row.match(shown()).hasMatch(); }, timeoutMs))
            << shown().toStdString();
    }

    QString stateFile(int node) const { return QString("TEMP/KELDTS.%1").arg(node); }
    QString tcpipCfg(int node) const { return QString("TEMP/N%1/TCPIP.CFG").arg(node); }
    QByteArray nodeFiles(int node) const {
        return sandbox.read(stateFile(node)) + '|' + sandbox.read(tcpipCfg(node));
    }
    bool nodeFilesGone(int node) const { return nodeFiles(node) == "|"; } // neither is ever empty

    // Banner and options, answered at once so that the node starts without waiting out the
    // negotiation; then the node, the caller's name, the node list, and the node's files.
    void logOn(Caller& caller, int node, const QByteArray& name, const char* from = "127.0.0.1") {
        ASSERT_TRUE(caller.dial(sandbox.port(), from) && caller.waitFor(kOptions) &&
                    caller.send(kDoEcho) && caller.waitFor(greeting(node)) &&
                    caller.send(name + "\r\n") && caller.waitFor("Hello, " + name + "!") &&
                    caller.waitFor("[G]oodbye: "))
            << caller.seen.toStdString() << sandbox.serverOutput().toStdString();
        rowBecomes(node, name);
        EXPECT_TRUE(QFile::exists(sandbox.path(stateFile(node))));
    }

    // The caller leaves, and the server lets the node go.
    void hangUpAndFree(Caller& caller, int node) {
        caller.abort();
        rowBecomes(node, {}, kFreedWithinMs);
        EXPECT_TRUE(waitUntil([&] { return nodeFilesGone(node); }, kFreedWithinMs));
        EXPECT_TRUE(sandbox.waitForOutput(QString(" : Node %1 Disconnected").arg(node).toLatin1(),
                                          kFreedWithinMs))
            << sandbox.serverOutput().toStdString();
    }
};

TEST_F(NodesE2e, AHungUpCallerCostsNoNodeFourFillTheBoardAndAFreedOneIsGivenNext) {
    ASSERT_TRUE(sandbox.startServer());
    {
        Caller gone;
        ASSERT_TRUE(gone.dial(sandbox.port()) && gone.waitFor(kOptions));
    }
    const QString invalid = "(1) Connection Refused (Invalid Session) [127.0.0.1]";
    ASSERT_TRUE(waitUntil([&] { return sandbox.logEntries().contains(invalid); }, 10000));
    EXPECT_EQ(window(1), QString());
    EXPECT_TRUE(nodeFilesGone(1));
    Caller callers[4];
    for (int node = 1; node <= 4; ++node)
        ASSERT_NO_FATAL_FAILURE(
            logOn(callers[node - 1], node, "Caller" + QByteArray::number(node)));

    // Nothing of the server after its options: the node has the line from there on.
    const QByteArray& seen = callers[0].seen;
    EXPECT_EQ(seen.indexOf(greeting(1)), seen.indexOf(kOptions) + kOptions.size());

    EXPECT_EQ(answer(sandbox.port()), kBusyText);
    // Node 2 frees up, its window goes, and the next caller gets it (no other is free).
    ASSERT_NO_FATAL_FAILURE(hangUpAndFree(callers[1], 2));
    Caller late;
    ASSERT_NO_FATAL_FAILURE(logOn(late, 2, "Late"));
    EXPECT_EQ(sandbox.logEntries(),
              QStringList({kLoaded, accepted(1), invalid, accepted(1), accepted(2), accepted(3),
                           accepted(4), kBusy, closed(2), accepted(2)}));
}

// Telnet commands are the client's, not the caller's: one that sends nothing but a NOP every
// ten seconds is let go at the demo node's login limit of a minute all the same.
TEST_F(NodesE2e, TelnetCommandsKeepNoDemoNodePastItsLoginLimit) {
    ASSERT_TRUE(sandbox.startServer());
    Caller bot;
    ASSERT_TRUE(bot.dial(sandbox.port()) && bot.waitFor(kOptions) && bot.send(kDoEcho) &&
                bot.waitFor(greeting(1)));
    QElapsedTimer quiet;
    quiet.start();
    while (bot.send(QByteArray("\xff\xf1", 2)) && !bot.waitForClose(10000) &&
           quiet.elapsed() < 80000) {
    }
    EXPECT_TRUE(bot.closed || bot.state() == QAbstractSocket::UnconnectedState);
    EXPECT_GT(quiet.elapsed(), 55000);
    EXPECT_LT(quiet.elapsed(), 70000);
}

TEST_F(NodesE2e, SystemTelnetClientReachesTheNode) {
    ASSERT_TRUE(sandbox.startServer());
    QProcess telnet;
    QByteArray out;
    const auto heard = [&](const QByteArray& text, int timeoutMs) {
        waitUntil(
            [&] {
                telnet.waitForReadyRead(20);
                out += telnet.readAllStandardOutput();
                return out.contains(text) || telnet.state() == QProcess::NotRunning;
            },
            timeoutMs);
        return out.contains(text);
    };
    // Each try is a new telnet: one that came inside the lock's second has been closed.
    ASSERT_TRUE(waitUntil(
        [&] {
            telnet.kill();
            telnet.waitForFinished();
            out.clear();
            telnet.start("telnet", {"127.0.0.1", QString::number(sandbox.port())});
            return heard("\x1b[2J", 5000);
        },
        15000));
    // Echo and go-ahead taken: in character mode telnet prints the node's CRs as they came.
    ASSERT_TRUE(heard(greeting(1), 10000)) << out.toStdString();
    telnet.write("Telnet\n");
    EXPECT_TRUE(heard("Hello, Telnet!", 10000)) << out.toStdString();
    telnet.kill();
}

TEST_F(NodesE2e, CallersStayOnTheirNodesThroughAServerRestartOrKill) {
    ASSERT_TRUE(sandbox.startServer());
    Caller stayer, survivor;
    // The first caller goes into the warm window, which takes his node's title.
    ASSERT_TRUE(waitUntil([&] { return spares().size() == 1; }, 5000));
    const QString spare = spares().first();
    ASSERT_NO_FATAL_FAILURE(logOn(stayer, 1, "Stayer"));
    EXPECT_TRUE(window(1).startsWith(spare + ' ')) << window(1).toStdString();
    ASSERT_NO_FATAL_FAILURE(logOn(survivor, 2, "Survivor"));
    // The server goes and its caller stays on the node (the demo node takes either case); the
    // next server takes the node over with its files as they were.
    const auto serverGoes = [&](int signal, int exitCode, Caller& caller, int node,
                                const QByteArray& name, const char* key) {
        const QByteArray files = nodeFiles(node);
        EXPECT_EQ(sandbox.stopServer(signal), exitCode) << sandbox.serverOutput().toStdString();
        caller.seen.clear();
        ASSERT_TRUE(caller.send(key));
        EXPECT_TRUE(
            caller.waitFor("Node " + QByteArray::number(node) + ": " + name + " - Main Menu\r\n"))
            << caller.seen.toStdString();
        ASSERT_TRUE(sandbox.startServer());
        EXPECT_EQ(nodeFiles(node), files);
    };
    ASSERT_NO_FATAL_FAILURE(serverGoes(SIGTERM, 0, stayer, 1, "Stayer", "W"));
    rowBecomes(1, "Stayer");
    rowBecomes(2, "Survivor");
    ASSERT_NO_FATAL_FAILURE(hangUpAndFree(stayer, 1));
    const QStringList entries = sandbox.logEntries();
    EXPECT_EQ(entries.mid(entries.lastIndexOf(kLoaded)), QStringList({kLoaded, closed(1)}));

    // Killed outright, likewise; the next server keeps node 2 behind the free node 1, which the
    // next caller gets, and looks after node 2 until its caller leaves.
    const QStringList killedSpare = spares();
    ASSERT_EQ(killedSpare.size(), 1);
    ASSERT_NO_FATAL_FAILURE(serverGoes(SIGKILL, -1, survivor, 2, "Survivor", "w"));
    // What the killed server kept warm is neither taken for a node nor left beside the new one.
    rowBecomes(3);
    rowBecomes(4);
    EXPECT_TRUE(waitUntil([&] { return spares().size() == 1 && spares() != killedSpare; }, 5000));
    Caller next;
    ASSERT_NO_FATAL_FAILURE(logOn(next, 1, "Next"));
    ASSERT_NO_FATAL_FAILURE(hangUpAndFree(survivor, 2));
}

TEST_F(NodesE2e, AStoppedTmuxKeepsCtlAndTheAdmissionAnsweringAndTellsTheCaller) {
    ASSERT_TRUE(sandbox.startServer());
    const pid_t tmuxPid = tmux({"display-message", "-p", "#{pid}"}).toInt();
    ASSERT_GT(tmuxPid, 0);
    ASSERT_EQ(::kill(tmuxPid, SIGSTOP), 0);
    // A stopped tmux would hang the tear-down's own tmux commands.
    const auto resume = qScopeGuard([tmuxPid] { ::kill(tmuxPid, SIGCONT); });

    // The call let in past the start's admission lock hears the server at once; its node
    // waits for tmux to run again.
    Caller caller;
    QElapsedTimer clock;
    ASSERT_TRUE(waitUntil(
        [&] {
            clock.start();
            return caller.call(sandbox.port()) && caller.waitFor(kOptions, 5000);
        },
        15000));
    EXPECT_LT(clock.elapsed(), 500);
    ASSERT_TRUE(caller.send(kDoEcho));

    // Asked over and over through several watchdog rounds, each of which asks tmux again.
    const QString socket = runtimeFiles("KELDTS.sock").value(0);
    QString answer = "online 1";
    qint64 slowest = 0;
    for (clock.start(); clock.elapsed() < 1500 && answer == "online 1";) {
        QElapsedTimer asked;
        asked.start();
        QLocalSocket ctl; // as `keldts ctl` asks: a line out, the answer until the server hangs up
        ctl.connectToServer(socket);
        ctl.waitForConnected(5000);
        ctl.write("status\n");
        ctl.waitForDisconnected(5000);
        answer = QString::fromUtf8(ctl.readAll()).trimmed();
        slowest = std::max(slowest, asked.elapsed());
    }
    EXPECT_EQ(answer, "online 1");
    EXPECT_LT(slowest, 100);
    EXPECT_TRUE(sandbox.ctl("status --json").contains("\"nodeHost\":\"stalled\""));

    // The hand-over time runs out: the caller is told, not dropped in silence, and the node
    // is free again for the next caller once tmux runs.
    EXPECT_TRUE(caller.waitFor("You have reached KELD Demo Board.\r\nThe node could not be "
                               "started. Please try again later.\r\n",
                               15000))
        << caller.seen.toStdString();
    EXPECT_TRUE(caller.waitForClose(5000));
    EXPECT_TRUE(sandbox.waitForOutput(" : Connection Refused (Node Not Started) [1]"));
    ::kill(tmuxPid, SIGCONT);
    EXPECT_TRUE(sandbox.waitForOutput(" : Node 1 Disconnected", kFreedWithinMs));
    EXPECT_TRUE(waitUntil(
        [&] { return sandbox.ctl("status --json").contains("\"nodeHost\":\"answering\""); }, 5000));
    Caller next;
    ASSERT_TRUE(
        waitUntil([&] { return next.call(sandbox.port()) && next.waitFor(kOptions); }, 5000));
    ASSERT_TRUE(next.send(kDoEcho));
    EXPECT_TRUE(next.waitFor(greeting(1))) << next.seen.toStdString();
}

TEST_F(NodesE2e, SysopChatsNoisesClosesBlocksAndBootsThroughTheNodesKeys) {
    ASSERT_TRUE(sandbox.startServer());
    Caller caller, noisy, stuck;
    ASSERT_NO_FATAL_FAILURE(logOn(caller, 1, "Chatty"));
    ASSERT_NO_FATAL_FAILURE(logOn(noisy, 2, "Noisy", "::1"));
    ASSERT_NO_FATAL_FAILURE(logOn(stuck, 3, "Stuck"));
    const QString window = this->window(1).section(' ', 0, 0);
    const auto screen = [&] { return tmux({"capture-pane", "-p", "-t", window}); };

    EXPECT_EQ(sandbox.ctl("node 1 chat"), "(1) Entered Chat With SysOp (Shift+F1)");
    ASSERT_TRUE(caller.waitFor("*** The SysOp is here to chat with you. ***"))
        << caller.seen.toStdString();
    tmux({"send-keys", "-t", window, "Hi from the SysOp", "Enter"}); // typed as it stands
    EXPECT_TRUE(caller.waitFor("Hi from the SysOp\r\n")) << caller.seen.toStdString();
    ASSERT_TRUE(caller.send("Hello back"));
    EXPECT_TRUE(waitUntil([&] { return screen().contains("Hello back"); }, 5000))
        << screen().toStdString();
    tmux({"send-keys", "-t", window, "Escape"});
    EXPECT_TRUE(caller.waitFor("*** The SysOp has left the chat. ***"));

    // Each address goes to the list of its own kind.
    EXPECT_TRUE(sandbox.ctl("node 1 block").contains("handled"));
    EXPECT_TRUE(sandbox.ctl("node 2 block").contains("handled"));
    EXPECT_EQ(sandbox.read("KELDTSIP.DAT"), "127.0.0.1      ");
    EXPECT_EQ(sandbox.read("KELDTSIP.V6"), "::1\r\n");

    noisy.seen.clear();
    sandbox.ctl("node 2 noise");
    EXPECT_TRUE(noisy.waitForClose(5000));
    EXPECT_GE(noisy.seen.size(), 512);
    rowBecomes(2, {}, kFreedWithinMs);

    // A node that answers nothing any more: only its process tree can go.
    const QString panePid = this->window(3).section(' ', 1, 1);
    ASSERT_FALSE(panePid.isEmpty());
    ASSERT_EQ(::kill(panePid.toInt(), SIGSTOP), 0);
    EXPECT_EQ(sandbox.ctl("node 3 close --yes"), "(3) Node Closed");
    EXPECT_TRUE(waitUntil([&] { return processGone(panePid); }, kFreedWithinMs));
    EXPECT_TRUE(stuck.waitForClose(5000)) << "the caller is still connected";
    EXPECT_TRUE(nodeFilesGone(3));
    rowBecomes(3);

    caller.seen.clear();
    EXPECT_EQ(sandbox.ctl("node 1 boot"), "(1) User Booted Offline By SysOp (F10)");
    EXPECT_TRUE(caller.waitFor("The SysOp has ended your call. Goodbye!\r\n"));
    EXPECT_TRUE(caller.waitForClose(5000)) << "the caller is still connected";
    EXPECT_TRUE(sandbox.waitForOutput(" : Node 1 Disconnected", kFreedWithinMs));

    // Blocked: closed without a word, the node the caller would have had in the refusal.
    for (const char* from : {"127.0.0.1", "::1"}) {
        const QString blocked = QString("(1) Connection Refused (Blocked IP) [%1]").arg(from);
        EXPECT_TRUE(waitUntil(
            [&] {
                Caller again;
                return again.call(sandbox.port(), from) && again.waitForClose() &&
                       again.seen.isEmpty() && sandbox.logEntries().contains(blocked);
            },
            10000))
            << sandbox.logEntries().join('\n').toStdString();
    }
}

TEST_F(NodesE2e, ProcessHostRunsTheNodeWithoutTmux) {
    QByteArray ini = sandbox.read("KELDTS.INI");
    ASSERT_NO_FATAL_FAILURE(sandbox.write("KELDTS.INI", ini.replace("host=tmux", "host=process")));
    ASSERT_TRUE(sandbox.startServer());
    Caller caller;
    ASSERT_NO_FATAL_FAILURE(logOn(caller, 1, "Plain"));
    EXPECT_EQ(runtimeFiles("tmux-*"), QStringList());

    EXPECT_TRUE(sandbox.ctl("node 1 chat").contains("cannot take keys"));
    ASSERT_NO_FATAL_FAILURE(hangUpAndFree(caller, 1));
    EXPECT_EQ(
        sandbox.logEntries(),
        QStringList({kLoaded, accepted(1), "(1) Entered Chat With SysOp (Shift+F1)", closed(1)}));
}

} // namespace
