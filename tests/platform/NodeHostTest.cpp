#include "platform/ProcessNodeHost.h"
#include "platform/SocketHandOver.h"
#include "platform/TmuxNodeHost.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
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

QStringList descriptorsOf(qint64 pid) {
    QStringList names = QDir(QStringLiteral("/proc/%1/fd").arg(pid))
                            .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    std::sort(names.begin(), names.end(),
              [](const QString& a, const QString& b) { return a.toInt() < b.toInt(); });
    return names;
}

int openDescriptors() {
    return static_cast<int>(descriptorsOf(::getpid()).size());
}

// Reads until `size` bytes or EOF; the poll bound keeps a broken hand-over from hanging the test.
QByteArray readFrom(int fd, qsizetype size, int ms = 5000) {
    QByteArray got;
    QDeadlineTimer deadline(ms);
    while (got.size() < size && !deadline.hasExpired()) {
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, static_cast<int>(deadline.remainingTime())) <= 0)
            break;
        char buffer[256];
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n <= 0)
            break;
        got.append(buffer, n);
    }
    return got;
}

bool seesEof(int fd) {
    char c;
    pollfd p{fd, POLLIN, 0};
    return ::poll(&p, 1, 5000) == 1 && ::read(fd, &c, 1) == 0;
}

struct Caller {
    int mine = -1;
    int theirs = -1;
    Caller() {
        int pair[2];
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) == 0) {
            mine = pair[0];
            theirs = pair[1];
        }
    }
    ~Caller() {
        if (mine >= 0)
            ::close(mine);
    }
    void hangUp() {
        ::close(mine);
        mine = -1;
    }
};

// A node that greets, then echoes the caller until the caller leaves.
NodeHost::Launch echoNode(const QString& title, int socketFd, int targetFd,
                          const QString& greeting) {
    NodeHost::Launch launch;
    launch.title = title;
    launch.socketFd = socketFd;
    launch.targetFd = targetFd;
    launch.command = {QStringLiteral(NODE_EXEC_HELPER), QStringLiteral("echo-node"),
                      QString::number(targetFd), greeting};
    return launch;
}

std::optional<NodeHost::Started> launchAndWait(NodeHost& host, const NodeHost::Launch& launch,
                                               int ms = 15000) {
    std::optional<NodeHost::Started> result;
    host.launch(launch, [&result](const NodeHost::Started& s) { result = s; });
    waitFor([&] { return result.has_value(); }, ms);
    return result;
}

// The node talks to its caller over the handed-over socket, holds nothing else, and ends when
// the caller leaves.
void expectServesItsCaller(NodeHost& host, Caller& caller, const NodeHost::Started& started,
                           int targetFd, const QByteArray& greeting) {
    ASSERT_GT(started.handle, 0) << started.error.toStdString();
    ASSERT_GT(started.pid, 0);
    EXPECT_EQ(readFrom(caller.mine, greeting.size()), greeting);
    ASSERT_EQ(::write(caller.mine, "ping\n", 5), 5);
    EXPECT_EQ(readFrom(caller.mine, 5), QByteArray("ping\n"));

    EXPECT_EQ(descriptorsOf(started.pid),
              (QStringList{QStringLiteral("0"), QStringLiteral("1"), QStringLiteral("2"),
                           QString::number(targetFd)}));
    const QString link =
        QFile::symLinkTarget(QStringLiteral("/proc/%1/fd/%2").arg(started.pid).arg(targetFd));
    EXPECT_TRUE(link.contains(QLatin1String("socket:"))) << link.toStdString();
    EXPECT_TRUE(host.isWindow(started.handle));
}

class TmuxNodeHostTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(runtime.isValid());
        host.setHandOverTimeout(10000);
        QString error;
        ASSERT_TRUE(host.start(&error)) << error.toStdString();
    }
    void TearDown() override {
        QProcess::execute(QStringLiteral("tmux"),
                          {QStringLiteral("-S"), host.tmuxSocket(), QStringLiteral("kill-server")});
    }
    qint64 tmuxWindow(const QString& name) {
        QProcess tmux;
        tmux.start(QStringLiteral("tmux"),
                   {QStringLiteral("-S"), host.tmuxSocket(), QStringLiteral("new-window"),
                    QStringLiteral("-d"), QStringLiteral("-P"), QStringLiteral("-F"),
                    QStringLiteral("#{window_id}"), QStringLiteral("-n"), name,
                    QStringLiteral("sleep 60")});
        tmux.waitForFinished();
        return tmux.readAllStandardOutput().trimmed().mid(1).toLongLong();
    }

    QTemporaryDir runtime;
    QTemporaryDir board;
    TmuxNodeHost host{runtime.path(), board.path(), QStringLiteral(NODE_EXEC_HELPER)};
};

TEST_F(TmuxNodeHostTest, NodesGetTheirOwnCallerAndAreFoundByTheirExactTitle) {
    // A name that the title would match as a tmux pattern comes first, to be picked wrongly.
    const qint64 decoy = tmuxWindow(QStringLiteral("Node1 - KELDTS"));
    ASSERT_GT(decoy, 0);
    const int before = openDescriptors();

    Caller one, two;
    // Node 2 wants the descriptor number that the helper receives it at, which needs no dup2.
    std::optional<NodeHost::Started> first, second;
    host.launch(echoNode(QStringLiteral("Node[1] - KELDTS"), one.theirs, 7, QStringLiteral("one")),
                [&](const NodeHost::Started& s) { first = s; });
    host.launch(echoNode(QStringLiteral("Node[2] - KELDTS"), two.theirs, 4, QStringLiteral("two")),
                [&](const NodeHost::Started& s) { second = s; });
    ASSERT_TRUE(waitFor([&] { return first && second; }, 15000));
    expectServesItsCaller(host, one, *first, 7, "one");
    expectServesItsCaller(host, two, *second, 4, "two");
    EXPECT_NE(first->handle, second->handle);

    EXPECT_EQ(host.findWindow(QStringLiteral("Node[1] - KELDTS")), first->handle);
    EXPECT_EQ(host.findWindow(QStringLiteral("Node1 - KELDTS")), decoy);
    EXPECT_EQ(host.findWindow(QStringLiteral("Node[3] - KELDTS")), 0);
    bool listed = false;
    for (const NodeHost::Window& w : host.windows())
        listed |= w.handle == second->handle && w.pid == second->pid &&
                  w.title == QLatin1String("Node[2] - KELDTS");
    EXPECT_TRUE(listed);

    one.hangUp();
    EXPECT_TRUE(waitFor([&] { return !host.isWindow(first->handle); }));
    EXPECT_EQ(host.findWindow(QStringLiteral("Node[1] - KELDTS")), 0);
    EXPECT_TRUE(host.isWindow(second->handle));
    two.hangUp();
    EXPECT_TRUE(waitFor([&] { return !host.isWindow(second->handle); }));
    // Our copies of the node ends are gone, and nothing else was left open.
    EXPECT_TRUE(waitFor([&] { return openDescriptors() == before; }))
        << openDescriptors() << " open, " << before << " expected";
}

TEST_F(TmuxNodeHostTest, FailedStartsAreReportedWithinTheBoundAndLeakNothing) {
    const int before = openDescriptors();
    {
        Caller caller;
        NodeHost::Launch launch =
            echoNode(QStringLiteral("Node[1] - KELDTS"), caller.theirs, 7, {});
        launch.command = QStringList{QStringLiteral("./no-such-node-program")};
        QElapsedTimer clock;
        clock.start();
        const auto started = launchAndWait(host, launch);
        ASSERT_TRUE(started.has_value());
        EXPECT_EQ(started->handle, 0);
        EXPECT_TRUE(started->error.contains(QLatin1String("no-such-node-program")))
            << started->error.toStdString();
        EXPECT_LT(clock.elapsed(), 5000); // reported, not timed out
        EXPECT_TRUE(seesEof(caller.mine));
    }
    {
        // A helper that never calls in: the launch times out and the caller is let go.
        QTemporaryDir otherBoard;
        TmuxNodeHost silent(runtime.path(), otherBoard.path(), QStringLiteral("/bin/true"));
        silent.setHandOverTimeout(1000);
        QString error;
        ASSERT_TRUE(silent.start(&error)) << error.toStdString();
        Caller caller;
        const auto started = launchAndWait(
            silent, echoNode(QStringLiteral("Node[1] - KELDTS"), caller.theirs, 7, {}), 5000);
        ASSERT_TRUE(started.has_value());
        EXPECT_EQ(started->handle, 0);
        EXPECT_FALSE(started->error.isEmpty());
        EXPECT_TRUE(seesEof(caller.mine));
        QProcess::execute(QStringLiteral("tmux"), {QStringLiteral("-S"), silent.tmuxSocket(),
                                                   QStringLiteral("kill-server")});
    }
    EXPECT_TRUE(waitFor([&] { return openDescriptors() == before; }))
        << openDescriptors() << " open, " << before << " expected";
}

TEST(HandOverTest, OnlyTheRightTokenGetsTheSocket) {
    QTemporaryDir runtime;
    HandOverServer server;
    QString error;
    ASSERT_TRUE(server.listen(runtime.filePath(QStringLiteral("h")), &error))
        << error.toStdString();
    Caller caller;
    const QByteArray token = newHandOverToken();
    std::optional<std::pair<qint64, QString>> finished;
    server.offer(token, caller.theirs,
                 [&](qint64 pid, const QString& why) { finished.emplace(pid, why); });

    auto runHelper = [&](const QByteArray& presented, const QString& script) {
        QProcess helper;
        helper.start(QStringLiteral(NODE_EXEC_HELPER),
                     {QStringLiteral("--socket"), server.path(), QStringLiteral("--token"),
                      QString::fromLatin1(presented), QStringLiteral("--fd"), QStringLiteral("5"),
                      QStringLiteral("--"), QStringLiteral("/bin/sh"), QStringLiteral("-c"),
                      script});
        EXPECT_TRUE(waitFor([&] { return helper.state() == QProcess::NotRunning; }));
        return helper.exitCode();
    };
    EXPECT_NE(runHelper("0123456789abcdef0123456789abcdef", QStringLiteral("exit 0")), 0);
    EXPECT_FALSE(finished.has_value());
    EXPECT_EQ(server.pendingOffers(), 1);

    EXPECT_EQ(runHelper(token, QStringLiteral("printf ok >&5")), 0);
    ASSERT_TRUE(waitFor([&] { return finished.has_value(); }));
    EXPECT_GT(finished->first, 0);
    EXPECT_TRUE(finished->second.isEmpty()) << finished->second.toStdString();
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

TEST_F(ProcessNodeHostTest, NodesRunDetachedWithOnlyTheirSocketAndAreFoundAfterARestart) {
    const int before = openDescriptors();
    Caller one, two;
    // The second caller's socket already sits at the number its node wants.
    constexpr int kSame = 40;
    ASSERT_EQ(::fcntl(kSame, F_GETFD), -1);
    ASSERT_EQ(::dup3(two.theirs, kSame, O_CLOEXEC), kSame);
    ::close(two.theirs);
    two.theirs = kSame;

    NodeHost::Launch first = echoNode(QStringLiteral("Node[1] - KELDTS"), one.theirs, 7, "one");
    first.workingDirectory = board.path();
    const auto a = launchAndWait(host, first);
    const auto b =
        launchAndWait(host, echoNode(QStringLiteral("Node[2] - KELDTS"), two.theirs, kSame, "two"));
    ASSERT_TRUE(a && b);
    expectServesItsCaller(host, one, *a, 7, "one");
    expectServesItsCaller(host, two, *b, kSame, "two");
    EXPECT_EQ(a->handle, a->pid);
    EXPECT_EQ(QFile::symLinkTarget(QStringLiteral("/proc/%1/cwd").arg(a->pid)),
              QDir(board.path()).canonicalPath());
    EXPECT_EQ(::getsid(static_cast<pid_t>(a->pid)), a->pid);

    // A server started again finds the nodes by their titles.
    ProcessNodeHost restarted(runtime.path(), board.path());
    EXPECT_EQ(restarted.findWindow(QStringLiteral("Node[1] - KELDTS")), a->handle);
    EXPECT_EQ(restarted.findWindow(QStringLiteral("Node[2] - KELDTS")), b->handle);
    EXPECT_EQ(restarted.findWindow(QStringLiteral("Node[3] - KELDTS")), 0);

    one.hangUp();
    // Not its child: the exited node is a zombie until the first host reaps it, and still gone.
    EXPECT_TRUE(waitFor([&] { return !restarted.isWindow(a->handle); }));
    EXPECT_TRUE(waitFor([&] { return !host.isWindow(a->handle); }));
    EXPECT_EQ(host.findWindow(QStringLiteral("Node[1] - KELDTS")), 0);
    EXPECT_TRUE(host.isWindow(b->handle));
    two.hangUp();
    EXPECT_TRUE(waitFor([&] { return !host.isWindow(b->handle); }));
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ProcessNodeHostTest, FailuresAndRecycledPidsAreNotNodes) {
    const int before = openDescriptors();
    {
        Caller caller;
        NodeHost::Launch launch =
            echoNode(QStringLiteral("Node[1] - KELDTS"), caller.theirs, 7, {});
        launch.command = QStringList{QStringLiteral("no-such-node-program")};
        const auto started = launchAndWait(host, launch);
        ASSERT_TRUE(started.has_value());
        EXPECT_EQ(started->handle, 0);
        EXPECT_TRUE(started->error.contains(QLatin1String("no-such-node-program")));
        EXPECT_TRUE(seesEof(caller.mine));
    }
    EXPECT_EQ(openDescriptors(), before);

    // A title file whose pid now belongs to another process (this one) is stale.
    ASSERT_TRUE(QDir().mkpath(host.stateDirectory()));
    QFile stale(host.stateDirectory() + QStringLiteral("/node-%1.title").arg(::getpid()));
    ASSERT_TRUE(stale.open(QIODevice::WriteOnly));
    stale.write("1\nNode[9] - KELDTS\n");
    stale.close();
    EXPECT_EQ(host.findWindow(QStringLiteral("Node[9] - KELDTS")), 0);
    EXPECT_FALSE(host.isWindow(::getpid()));
    EXPECT_FALSE(stale.exists());
}

} // namespace
