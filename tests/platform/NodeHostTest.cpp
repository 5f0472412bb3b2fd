#include "platform/ProcessNodeHost.h"
#include "platform/SocketHandOver.h"
#include "platform/TmuxNodeHost.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <optional>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

template <typename Predicate> bool waitFor(Predicate ready, int ms = 5000) {
    QDeadlineTimer deadline(ms);
    while (!ready()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return true;
}

// By name, which puts 0, 1 and 2 first.
QStringList descriptorsOf(qint64 pid) {
    return QDir(QStringLiteral("/proc/%1/fd").arg(pid))
        .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

void descriptorsBackTo(qsizetype before) {
    EXPECT_TRUE(waitFor([&] { return descriptorsOf(::getpid()).size() == before; }))
        << descriptorsOf(::getpid()).size() << " open, " << before << " expected";
}

// Reads until `size` bytes or the end, within a bound that a broken hand-over cannot hang.
QByteArray readFrom(int fd, qsizetype size, bool* ended = nullptr) {
    QByteArray got;
    QDeadlineTimer deadline(5000);
    char buffer[256];
    pollfd p{fd, POLLIN, 0};
    ssize_t n = 1;
    while (got.size() < size && ::poll(&p, 1, int(deadline.remainingTime())) > 0 &&
           (n = ::read(fd, buffer, sizeof buffer)) > 0)
        got.append(buffer, n);
    if (ended)
        *ended = n == 0;
    return got;
}

// The other end was closed, and nothing came before.
bool seesEof(int fd) {
    bool ended = false;
    return readFrom(fd, 1, &ended).isEmpty() && ended;
}

// A caller's connection: our end, and the end the host hands to the node.
struct Caller {
    int mine = -1;
    int theirs = -1;
    Caller() {
        int pair[2] = {-1, -1};
        ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair);
        mine = pair[0];
        theirs = pair[1];
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
    waitFor([&] { return result.has_value(); }, 15000);
    return result;
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
    ASSERT_TRUE(started.has_value());
    EXPECT_EQ(started->handle, 0);
    EXPECT_TRUE(started->error.contains(reason)) << started->error.toStdString();
    EXPECT_LT(clock.elapsed(), 5000);
    EXPECT_TRUE(seesEof(caller.mine));
}

void killTmuxServer(TmuxNodeHost& host) {
    QProcess::execute("tmux", {"-S", host.tmuxSocket(), "kill-server"});
}

class TmuxNodeHostTest : public ::testing::Test {
  protected:
    void SetUp() override {
        host.setHandOverTimeout(10000);
        QString error;
        ASSERT_TRUE(host.start(&error)) << error.toStdString();
    }
    void TearDown() override { killTmuxServer(host); }

    QTemporaryDir runtime;
    QTemporaryDir board;
    TmuxNodeHost host{runtime.path(), board.path(), QStringLiteral(NODE_EXEC_HELPER)};
};

TEST_F(TmuxNodeHostTest, NodesGetTheirOwnCallerAreFoundByExactTitleAndFailuresLeakNothing) {
    // A name that the title would match as a tmux pattern comes first, to be picked wrongly.
    ASSERT_EQ(QProcess::execute("tmux", {"-S", host.tmuxSocket(), "new-window", "-d", "-n",
                                         "Node1 - KELDTS", "sleep 60"}),
              0);
    const qsizetype before = descriptorsOf(::getpid()).size();

    Caller one, two;
    // Node 2 wants the descriptor number that the helper receives it at, which needs no dup2.
    std::optional<NodeHost::Started> first, second;
    host.launch(echoNode(1, one.theirs, 7, "one"), [&](const NodeHost::Started& s) { first = s; });
    host.launch(echoNode(2, two.theirs, 4, "two"), [&](const NodeHost::Started& s) { second = s; });
    ASSERT_TRUE(waitFor([&] { return first && second; }, 15000));
    expectServesItsCaller(host, one, *first, 7, "one");
    expectServesItsCaller(host, two, *second, 4, "two");
    EXPECT_NE(first->handle, second->handle);

    EXPECT_EQ(host.findWindow(title(1)), first->handle);
    EXPECT_NE(host.findWindow("Node1 - KELDTS"), 0);
    EXPECT_EQ(host.findWindow(title(3)), 0);
    bool listed = false;
    for (const NodeHost::Window& w : host.windows())
        listed |= w.handle == second->handle && w.pid == second->pid && w.title == title(2);
    EXPECT_TRUE(listed);

    one.hangUp();
    EXPECT_TRUE(waitFor([&] { return !host.isWindow(first->handle); }));
    EXPECT_EQ(host.findWindow(title(1)), 0);
    EXPECT_TRUE(host.isWindow(second->handle));
    two.hangUp();
    EXPECT_TRUE(waitFor([&] { return !host.isWindow(second->handle); }));

    expectFailedStart(host, {"./no-such-node-program"}, "no-such-node-program");
    {
        // A helper that never calls in: the launch times out and the caller is let go.
        QTemporaryDir otherBoard;
        TmuxNodeHost silent(runtime.path(), otherBoard.path(), "/bin/true");
        silent.setHandOverTimeout(1000);
        QString error;
        ASSERT_TRUE(silent.start(&error)) << error.toStdString();
        expectFailedStart(silent, {}, "No hand-over within 1000 ms");
        killTmuxServer(silent);
    }
    // Our copies of the node ends are gone, and nothing else was left open.
    descriptorsBackTo(before);
}

TEST_F(TmuxNodeHostTest, ShowGivesAnAttachCommandThatWorksAndHideDetachesItsViewers) {
    ASSERT_EQ(QProcess::execute("tmux", {"-S", host.tmuxSocket(), "new-window", "-d", "-n",
                                         title(1), "sleep 60"}),
              0);
    const qint64 window = host.findWindow(title(1));
    QString note;
    ASSERT_TRUE(host.show(window, NodeHost::Show::Normal, &note));
    ASSERT_TRUE(note.startsWith(QStringLiteral("to watch it: "))) << note.toStdString();
    // A sysop's terminal, as `script` gives the attach command one.
    QProcess viewer;
    viewer.start("script", {"-qc", note.mid(13), "/dev/null"});
    const auto viewers = [&] {
        QProcess list;
        list.start("tmux", {"-S", host.tmuxSocket(), "list-clients", "-F", "#{window_id}"});
        list.waitForFinished();
        return QString::fromUtf8(list.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
    };
    ASSERT_TRUE(waitFor([&] { return viewers().contains(QStringLiteral("@%1").arg(window)); }))
        << viewers().join(' ').toStdString();

    ASSERT_TRUE(host.show(window, NodeHost::Show::Hidden, &note)) << note.toStdString();
    EXPECT_TRUE(viewer.waitForFinished(5000));
    EXPECT_FALSE(viewers().contains(QStringLiteral("@%1").arg(window)));
    EXPECT_TRUE(host.isWindow(window)) << "hiding must leave the node running";
}

TEST(TmuxServerLifetime, OutlivesTheHostOnlyWhileANodeRuns) {
    QTemporaryDir runtime, board;
    QString socket;
    const auto serverUp = [&] {
        return QProcess::execute("tmux", {"-S", socket, "has-session"}) == 0;
    };
    const auto startHost = [&](TmuxNodeHost& host) {
        QString error;
        ASSERT_TRUE(host.start(&error)) << error.toStdString();
        socket = host.tmuxSocket();
    };
    {
        TmuxNodeHost host(runtime.path(), board.path(), QStringLiteral(NODE_EXEC_HELPER));
        ASSERT_NO_FATAL_FAILURE(startHost(host));
        ASSERT_EQ(QProcess::execute("tmux",
                                    {"-S", socket, "new-window", "-d", "-n", title(1), "sleep 60"}),
                  0);
    }
    EXPECT_TRUE(serverUp()) << "the node went with the host";
    {
        TmuxNodeHost host(runtime.path(), board.path(), QStringLiteral(NODE_EXEC_HELPER));
        ASSERT_NO_FATAL_FAILURE(startHost(host));
        QProcess::execute("tmux", {"-S", socket, "kill-window", "-t", title(1)});
    }
    EXPECT_FALSE(serverUp()) << "a tmux server with no node was left behind";
    if (serverUp())
        QProcess::execute("tmux", {"-S", socket, "kill-server"});
}

TEST(HandOverTest, OnlyTheRightTokenGetsTheSocket) {
    QTemporaryDir runtime;
    HandOverServer server;
    QString error;
    ASSERT_TRUE(server.listen(runtime.filePath("h"), &error)) << error.toStdString();
    Caller caller;
    const QByteArray token = newHandOverToken();
    std::optional<std::pair<qint64, QString>> finished;
    server.offer(token, caller.theirs,
                 [&](qint64 pid, const QString& why) { finished.emplace(pid, why); });

    auto runHelper = [&](const QByteArray& presented, const QString& script) {
        QProcess helper;
        helper.start(QStringLiteral(NODE_EXEC_HELPER),
                     {"--socket", server.path(), "--token", QString::fromLatin1(presented), "--fd",
                      "5", "--", "/bin/sh", "-c", script});
        EXPECT_TRUE(waitFor([&] { return helper.state() == QProcess::NotRunning; }));
        return helper.exitCode();
    };
    EXPECT_NE(runHelper("0123456789abcdef0123456789abcdef", "exit 0"), 0);
    EXPECT_FALSE(finished.has_value());
    EXPECT_EQ(server.pendingOffers(), 1);

    EXPECT_EQ(runHelper(token, "printf ok >&5"), 0);
    ASSERT_TRUE(waitFor([&] { return finished.has_value(); }));
    EXPECT_TRUE(finished->first > 0 && finished->second.isEmpty())
        << finished->second.toStdString();
    EXPECT_EQ(readFrom(caller.mine, 2), QByteArray("ok"));
    EXPECT_TRUE(seesEof(caller.mine)); // nobody else holds the caller now
    EXPECT_EQ(server.pendingOffers(), 0);
}

class ProcessNodeHostTest : public ::testing::Test {
  protected:
    QTemporaryDir runtime;
    QTemporaryDir board;
    ProcessNodeHost host{runtime.path(), board.path()};
};

TEST_F(ProcessNodeHostTest, NodesRunDetachedWithOnlyTheirSocketAndOnlyLiveOnesAreFound) {
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
    EXPECT_EQ(a->handle, a->pid);
    EXPECT_EQ(QFile::symLinkTarget(QStringLiteral("/proc/%1/cwd").arg(a->pid)),
              QDir(board.path()).canonicalPath());
    EXPECT_EQ(::getsid(static_cast<pid_t>(a->pid)), a->pid);

    // A server started again finds the nodes by their titles.
    ProcessNodeHost restarted(runtime.path(), board.path());
    EXPECT_EQ(restarted.findWindow(title(1)), a->handle);
    EXPECT_EQ(restarted.findWindow(title(2)), b->handle);
    EXPECT_EQ(restarted.findWindow(title(3)), 0);

    one.hangUp();
    // Not its child: the exited node is a zombie until the first host reaps it, and still gone.
    EXPECT_TRUE(waitFor([&] { return !restarted.isWindow(a->handle); }));
    EXPECT_TRUE(waitFor([&] { return !host.isWindow(a->handle); }));
    EXPECT_EQ(host.findWindow(title(1)), 0);
    EXPECT_TRUE(host.isWindow(b->handle));
    two.hangUp();
    EXPECT_TRUE(waitFor([&] { return !host.isWindow(b->handle); }));
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
