#include "platform/ProcessNodeHost.h"
#include "platform/SocketHandOver.h"
#include "platform/TmuxNodeHost.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <optional>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// By name, which puts 0, 1 and 2 first.
QStringList descriptorsOf(qint64 pid) {
    return QDir(QStringLiteral("/proc/%1/fd").arg(pid))
        .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

QString cwdOf(qint64 pid) {
    return QFile::symLinkTarget(QStringLiteral("/proc/%1/cwd").arg(pid));
}

void descriptorsBackTo(qsizetype before) {
    EXPECT_TRUE(QTest::qWaitFor([&] { return descriptorsOf(::getpid()).size() == before; }))
        << descriptorsOf(::getpid()).size() << " open, " << before << " expected";
}

// Reads `size` bytes, or what came before the end or the caller's time-out.
QByteArray readFrom(int fd, qsizetype size) {
    QByteArray got(size, '\0');
    return got.left(std::max<ssize_t>(::recv(fd, got.data(), size_t(size), MSG_WAITALL), 0));
}

// A caller's connection: our end, and the end the host hands to the node.
struct Caller {
    int mine = -1, theirs = -1;
    Caller() {
        int pair[2] = {-1, -1};
        ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair);
        mine = pair[0];
        theirs = pair[1];
        // Time enough for any node, and a bound that a broken hand-over cannot hang.
        const timeval patience{5, 0};
        ::setsockopt(mine, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    ~Caller() { hangUp(); }
    void hangUp() { ::close(std::exchange(mine, -1)); }
};

const auto title = [](int node) { return QStringLiteral("Node[%1] - KELDTS").arg(node); };

// A node that greets, then echoes the caller until the caller leaves.
NodeHost::Launch echoNode(int node, int socketFd, int targetFd, const QString& greeting = {}) {
    return {title(node),
            {QStringLiteral(NODE_EXEC_HELPER), "echo-node", QString::number(targetFd), greeting},
            {},
            socketFd,
            targetFd};
}

std::optional<NodeHost::Started> launchAndWait(NodeHost& host, const NodeHost::Launch& launch) {
    std::optional<NodeHost::Started> result;
    host.launch(launch, [&result](const NodeHost::Started& s) { result = s; });
    return QTest::qWaitFor([&] { return result.has_value(); }, 15000) ? result : std::nullopt;
}

// The node talks to its caller over the handed-over socket and holds nothing else.
void expectServesItsCaller(NodeHost& host, Caller& caller, const NodeHost::Started& started,
                           int targetFd, const QByteArray& greeting) {
    ASSERT_GT(started.handle, 0) << started.error.toStdString();
    EXPECT_EQ(readFrom(caller.mine, greeting.size()), greeting);
    ASSERT_EQ(::write(caller.mine, "ping\n", 5), 5);
    EXPECT_EQ(readFrom(caller.mine, 5), QByteArray("ping\n"));

    // The echo came through `targetFd`, so that is the caller's socket.
    EXPECT_EQ(descriptorsOf(started.pid), (QStringList{"0", "1", "2", QString::number(targetFd)}));
    EXPECT_TRUE(host.isWindow(started.handle));
}

// A start that fails, reported with its reason before any time-out; the caller is let go.
void expectFailedStart(NodeHost& host, const QStringList& command, const QString& reason) {
    Caller caller;
    NodeHost::Launch launch = echoNode(1, caller.theirs, 7);
    if (!command.isEmpty())
        launch.command = command;
    QElapsedTimer clock;
    clock.start();
    const auto started = launchAndWait(host, launch);
    ASSERT_TRUE(started && started->handle == 0 && started->error.contains(reason))
        << (started ? started->error.toStdString() : "no answer");
    EXPECT_LT(clock.elapsed(), 5000);
    char byte;
    EXPECT_EQ(::recv(caller.mine, &byte, 1, 0), 0) << "the caller is kept";
}

// What tmux prints for `command` on the server at `socket`.
QByteArray tmux(const QString& socket, const QStringList& command) {
    QProcess process;
    process.start("tmux", QStringList{"-S", socket} + command);
    process.waitForFinished();
    return process.readAllStandardOutput().trimmed();
}

void startHost(TmuxNodeHost& host, int handOverMs) {
    host.setHandOverTimeout(handOverMs);
    const Result<> started = host.start();
    ASSERT_TRUE(started) << started.error().toStdString();
}

// A window someone else made, known to the host once tmux's word of it has come in.
qint64 foreignWindow(TmuxNodeHost& host, const QString& name) {
    tmux(host.tmuxSocket(), {"new-window", "-d", "-n", name, "sleep 60"});
    return QTest::qWaitFor([&] { return host.findWindow(name) != 0; }) ? host.findWindow(name) : 0;
}

class TmuxNodeHostTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_NO_FATAL_FAILURE(startHost(*host, 10000)); }
    void TearDown() override { tmux(socket, {"kill-server"}); }

    QTemporaryDir runtime, board;
    std::unique_ptr<TmuxNodeHost> host = std::make_unique<TmuxNodeHost>(
        runtime.path(), board.path(), QStringLiteral(NODE_EXEC_HELPER));
    const QString socket = host->tmuxSocket();
};

TEST_F(TmuxNodeHostTest, NodesGetTheirOwnCallerAreFoundByExactTitleAndFailuresLeakNothing) {
    // A name that the title would match as a tmux pattern comes first, to be picked wrongly.
    ASSERT_NE(foreignWindow(*host, "Node1 - KELDTS"), 0);
    // Node 1 goes into the warm window, node 2 into one made for it; the connection of the next
    // warm window is part of what the host holds between callers.
    ASSERT_TRUE(QTest::qWaitFor([&] { return host->spareReady(); }));
    const qsizetype before = descriptorsOf(::getpid()).size();

    Caller one, two;
    // Node 2 wants the descriptor number that the helper receives it at, which needs no dup2.
    // Its title and directory, as tmux formats, would run a command and name another place.
    const QString odd = QDir(board.path()).canonicalPath() + "/a#(touch x)b#S";
    ASSERT_TRUE(QDir().mkpath(odd));
    NodeHost::Launch oddNode = echoNode(2, two.theirs, 4, "two");
    oddNode.title = "run#(touch x)#S.bat";
    oddNode.workingDirectory = odd;
    std::optional<NodeHost::Started> first, second;
    host->launch(echoNode(1, one.theirs, 7, "one"), [&](const NodeHost::Started& s) { first = s; });
    host->launch(oddNode, [&](const NodeHost::Started& s) { second = s; });
    ASSERT_TRUE(host->openWindow(oddNode.title + "!", {"sleep", "60"}, odd, {}));
    ASSERT_TRUE(QTest::qWaitFor([&] { return first && second; }, 15000));
    expectServesItsCaller(*host, one, *first, 7, "one");
    expectServesItsCaller(*host, two, *second, 4, "two");
    // What windows() lists, and that a missing title finds nothing, the server's rounds and
    // free-node search show end to end.
    EXPECT_EQ(host->findWindow(title(1)), first->handle);
    EXPECT_EQ(host->findWindow(oddNode.title), second->handle);
    ASSERT_TRUE(QTest::qWaitFor([&] { return host->findWindow(oddNode.title + "!") != 0; }));
    for (const NodeHost::Window& w : host->windows())
        EXPECT_TRUE(!w.title.startsWith(oddNode.title) || cwdOf(w.pid) == odd) << w.pid;
    EXPECT_FALSE(QFile::exists("x") || QFile::exists(board.filePath("x")));

    one.hangUp();
    EXPECT_TRUE(QTest::qWaitFor([&] { return !host->isWindow(first->handle); }));
    EXPECT_TRUE(host->isWindow(second->handle));
    two.hangUp();
    EXPECT_TRUE(QTest::qWaitFor([&] { return !host->isWindow(second->handle); }));

    expectFailedStart(*host, {"./no-such-node-program"}, "no-such-node-program");
    // A helper that never calls in: the launch times out and the caller is let go.
    QTemporaryDir otherBoard;
    auto silent = std::make_unique<TmuxNodeHost>(runtime.path(), otherBoard.path(), "/bin/true");
    ASSERT_NO_FATAL_FAILURE(startHost(*silent, 1000));
    expectFailedStart(*silent, {}, "No hand-over within 1000 ms");
    const QString silentSocket = silent->tmuxSocket();
    silent.reset();
    // With no node left its tmux server ends with it (that it outlives the host while a node
    // runs is seen end to end). Killing fails for want of a server, or ends one left behind.
    EXPECT_NE(QProcess::execute("tmux", {"-S", silentSocket, "kill-server"}), 0);
    // Our copies of the node ends are gone, and nothing else was left open.
    descriptorsBackTo(before);
}

TEST_F(TmuxNodeHostTest, ShowAttachesAViewerHideDetachesItAndAStoppedTmuxHoldsNothingUp) {
    const qint64 window = foreignWindow(*host, title(1));
    ASSERT_NE(window, 0);
    const QByteArray id = "@" + QByteArray::number(window);
    const Result<QString> shown = host->show(window, NodeHost::Show::Normal);
    ASSERT_TRUE(shown && shown.value().startsWith(QStringLiteral("to watch it: ")));
    const QString note = shown.value();
    // A sysop's terminal, as `script` gives the attach command one.
    QProcess viewer;
    viewer.start("script", {"-qc", note.mid(13), "/dev/null"});
    const auto viewed = [&] {
        return tmux(socket, {"list-clients", "-F", "#{window_id}"}).split('\n').contains(id);
    };
    ASSERT_TRUE(QTest::qWaitFor(viewed)) << "no viewer attached to " << id.toStdString();

    ASSERT_TRUE(host->show(window, NodeHost::Show::Hidden));
    EXPECT_TRUE(QTest::qWaitFor([&] { return viewer.state() == QProcess::NotRunning; }));
    EXPECT_FALSE(viewed());
    EXPECT_TRUE(host->isWindow(window)) << "hiding must leave the node running";

    // A stopped tmux: nothing waits for it and a launch fails by its time-out (ctl and the
    // admission under it are seen end to end).
    host->setHandOverTimeout(300);
    const pid_t tmuxPid = tmux(socket, {"display-message", "-p", "#{pid}"}).toInt();
    ASSERT_GT(tmuxPid, 0);
    ASSERT_EQ(::kill(tmuxPid, SIGSTOP), 0);
    const auto resume = qScopeGuard([tmuxPid] { ::kill(tmuxPid, SIGCONT); });

    QElapsedTimer clock;
    clock.start();
    host->requestWindows();
    EXPECT_TRUE(host->sendKeys(window, parseSendKeys("{F10}")));
    EXPECT_TRUE(host->show(window, NodeHost::Show::Hidden));
    EXPECT_TRUE(host->isWindow(window));
    EXPECT_LT(clock.elapsed(), 100);
    expectFailedStart(*host, {}, "No hand-over within 300 ms");
    clock.start();
    host.reset();
    EXPECT_LT(clock.elapsed(), 100);
}

// The right token's hand-over is what every tmux node is started by, end to end.
TEST(HandOverTest, AWrongTokenGetsNothingAndLeavesTheOfferOpen) {
    QTemporaryDir runtime;
    HandOverServer server;
    ASSERT_TRUE(server.listen(runtime.filePath("h")));
    Caller caller;
    bool finished = false;
    server.offer(newHandOverToken(), caller.theirs, {5, {}, {"/bin/sh", "-c", "exit 0"}},
                 [&](qint64, const QString&) { finished = true; });
    QProcess helper;
    helper.start(QStringLiteral(NODE_EXEC_HELPER),
                 {"--socket", server.path(), "--token", "0123456789abcdef0123456789abcdef"});
    EXPECT_TRUE(QTest::qWaitFor([&] { return helper.state() == QProcess::NotRunning; }));
    EXPECT_NE(helper.exitCode(), 0);
    EXPECT_FALSE(finished);
    EXPECT_EQ(server.pendingOffers(), 1);
}

// The relay's configuration lies in the board's temporary directory, where anyone of the board's
// group can put a link at a name they guessed from the relay's process number.
TEST(SerialRelayTest, TheEmulatorsConfigurationIsANewFileWhateverWasPlantedForIt) {
    QTemporaryDir confDir, elsewhere;
    const QString outside = elsewhere.filePath("theirs");
    QFile planted(outside);
    ASSERT_TRUE(planted.open(QIODevice::WriteOnly) && planted.write("outside") == 7);
    planted.close();
    const QString seen = confDir.filePath("seen");
    // The shell becomes the relay and keeps its process number; the "emulator" keeps a copy of
    // the configuration it was given.
    QProcess relay;
    relay.start("/bin/sh",
                {"-c",
                 "ln -s \"$1\" \"$2/serial-$$.conf\" && exec 3</dev/null && exec \"$3\" "
                 "--serial-relay 3 --conf-dir \"$2\" -- /bin/sh -c 'cat \"$3\" > \"$1\"' "
                 "emulator \"$4\"",
                 "sh", outside, confDir.path(), QStringLiteral(NODE_EXEC_HELPER), seen});
    ASSERT_TRUE(relay.waitForFinished(10000));
    EXPECT_EQ(relay.exitCode(), 0) << "an emulator that ended at once is no relay's failure";
    QFile copy(seen);
    ASSERT_TRUE(copy.open(QIODevice::ReadOnly)) << relay.readAllStandardError().toStdString();
    EXPECT_TRUE(copy.readAll().startsWith("[serial]\nserial1=nullmodem server:127.0.0.1 port:"));
    ASSERT_TRUE(planted.open(QIODevice::ReadOnly));
    EXPECT_EQ(planted.readAll(), QByteArray("outside"));
}

TEST(ProcessNodeHostTest, NodesRunDetachedWithOnlyTheirSocketAndOnlyLiveOnesAreFound) {
    QTemporaryDir runtime, board;
    ProcessNodeHost host(runtime.path(), board.path());
    const qsizetype before = descriptorsOf(::getpid()).size();
    Caller one, two;
    // The second caller's socket already sits at the number its node wants.
    constexpr int kSame = 40;
    ASSERT_EQ(::fcntl(kSame, F_GETFD), -1);
    ASSERT_EQ(::dup3(two.theirs, kSame, O_CLOEXEC), kSame);
    ::close(two.theirs);

    NodeHost::Launch first = echoNode(1, one.theirs, 7, "one");
    first.workingDirectory = board.path();
    const auto a = launchAndWait(host, first);
    const auto b = launchAndWait(host, echoNode(2, kSame, kSame, "two"));
    ASSERT_TRUE(a && b);
    expectServesItsCaller(host, one, *a, 7, "one");
    expectServesItsCaller(host, two, *b, kSame, "two");
    EXPECT_EQ(cwdOf(a->pid), QDir(board.path()).canonicalPath());
    EXPECT_EQ(::getsid(static_cast<pid_t>(a->pid)), a->pid);

    // A server started again finds the nodes by their titles.
    ProcessNodeHost restarted(runtime.path(), board.path());
    EXPECT_EQ(restarted.findWindow(title(1)), a->handle);
    EXPECT_EQ(restarted.findWindow(title(2)), b->handle);

    one.hangUp();
    // Not its child: the exited node is a zombie until the first host reaps it, and still gone.
    EXPECT_TRUE(QTest::qWaitFor([&] { return !restarted.isWindow(a->handle); }));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !host.isWindow(a->handle); }));
    EXPECT_EQ(host.findWindow(title(1)), 0);
    EXPECT_TRUE(host.isWindow(b->handle));
    two.hangUp();
    EXPECT_TRUE(QTest::qWaitFor([&] { return !host.isWindow(b->handle); }));
    expectFailedStart(host, {"no-such-node-program"}, "no-such-node-program");
    descriptorsBackTo(before);

    // A title file whose pid now belongs to another process (this one) is stale.
    ASSERT_TRUE(QDir().mkpath(host.stateDirectory()));
    QFile stale(host.stateDirectory() + QStringLiteral("/node-%1.title").arg(::getpid()));
    ASSERT_TRUE(stale.open(QIODevice::WriteOnly) && stale.write("1\nNode[9] - KELDTS\n") > 0);
    stale.close();
    EXPECT_EQ(host.findWindow(title(9)), 0);
    EXPECT_FALSE(host.isWindow(::getpid()));
    EXPECT_FALSE(stale.exists());
}

} // namespace
