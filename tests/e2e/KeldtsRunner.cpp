#include "KeldtsRunner.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QLocale>
#include <QProcess>
#include <QRegularExpression>

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kPollStepMs = 20;

using Clock = std::chrono::steady_clock;

Clock::time_point deadlineAfter(int ms) {
    return Clock::now() + std::chrono::milliseconds(ms);
}

int msLeft(Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

void pause(int ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

} // namespace

bool waitUntil(const std::function<bool()>& condition, int timeoutMs) {
    const auto deadline = deadlineAfter(timeoutMs);
    while (!condition()) {
        if (Clock::now() >= deadline)
            return false;
        pause(kPollStepMs);
    }
    return true;
}

QByteArray busyText() {
    return "You have reached KELD Demo Board.\r\n"
           "All nodes are currently busy. Please try again later.\r\n";
}

QByteArray maintenanceText() {
    return "You have reached KELD Demo Board.\r\n"
           "The BBS is currently down for maintenance. Please try again later.\r\n";
}

QByteArray netTrafficText() {
    return "You have reached KELD Demo Board.\r\n"
           "The BBS is currently down for network traffic. Please try again later.\r\n";
}

quint16 freePort() {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    socklen_t length = sizeof address;
    quint16 port = 0;
    if (fd >= 0 && ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0)
        port = ntohs(address.sin_port);
    if (fd >= 0)
        ::close(fd);
    return port;
}

CallResult call(quint16 port, const QByteArray& payload, int timeoutMs, const char* address) {
    CallResult result;
    sockaddr_storage peer{};
    socklen_t length = 0;
    auto* v4 = reinterpret_cast<sockaddr_in*>(&peer);
    auto* v6 = reinterpret_cast<sockaddr_in6*>(&peer);
    if (::inet_pton(AF_INET, address, &v4->sin_addr) == 1) {
        v4->sin_family = AF_INET;
        v4->sin_port = htons(port);
        length = sizeof *v4;
    } else if (::inet_pton(AF_INET6, address, &v6->sin6_addr) == 1) {
        v6->sin6_family = AF_INET6;
        v6->sin6_port = htons(port);
        length = sizeof *v6;
    } else {
        return result;
    }
    const int fd = ::socket(peer.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return result;
    if (::connect(fd, reinterpret_cast<sockaddr*>(&peer), length) != 0) {
        ::close(fd);
        return result;
    }
    result.connected = true;
    if (!payload.isEmpty())
        ::send(fd, payload.constData(), static_cast<size_t>(payload.size()), MSG_NOSIGNAL);
    const auto deadline = deadlineAfter(timeoutMs);
    char buffer[4096];
    while (true) {
        pollfd p{fd, POLLIN, 0};
        const int ready = ::poll(&p, 1, msLeft(deadline));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            break;
        const ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
        if (n > 0) {
            result.bytes.append(buffer, n);
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        result.closed = true;
        break;
    }
    ::close(fd);
    return result;
}

CallResult callUntilAnswered(quint16 port, int timeoutMs, const char* address) {
    const auto deadline = deadlineAfter(timeoutMs);
    CallResult result;
    do {
        result = call(port, {}, std::max(msLeft(deadline), 1), address);
        if (!result.bytes.isEmpty() || (result.connected && !result.closed))
            return result;
        pause(50);
    } while (Clock::now() < deadline);
    return result;
}

namespace {
RunResult telnetCall(quint16 port, int timeoutMs) {
    QProcess telnet;
    // The write channel stays open: telnet is to leave because the server closed, not
    // because its input ran dry.
    telnet.start(QStringLiteral("telnet"), {QStringLiteral("127.0.0.1"), QString::number(port)});
    RunResult result;
    if (!telnet.waitForStarted(timeoutMs))
        return result;
    result.finished = telnet.waitForFinished(timeoutMs);
    if (!result.finished) {
        telnet.kill();
        telnet.waitForFinished();
    }
    result.exitCode = telnet.exitCode();
    result.out = telnet.readAllStandardOutput();
    result.err = telnet.readAllStandardError();
    return result;
}

} // namespace

QByteArray telnetPayload(const QByteArray& output) {
    const QByteArray marker = "Escape character is '^]'.\n";
    const qsizetype at = output.indexOf(marker);
    if (at < 0)
        return {};
    QByteArray payload = output.mid(at + marker.size());
    const QByteArray closing = "Connection closed by foreign host.";
    const qsizetype end = payload.indexOf(closing);
    if (end >= 0)
        payload.truncate(end);
    return payload;
}

QByteArray telnetUntilAnswered(quint16 port, int timeoutMs) {
    const auto deadline = deadlineAfter(timeoutMs);
    do {
        const RunResult r = telnetCall(port, std::max(msLeft(deadline), 1));
        const QByteArray payload = telnetPayload(r.out);
        if (!payload.isEmpty() || !r.finished)
            return payload;
        pause(50);
    } while (Clock::now() < deadline);
    return {};
}

KeldtsSandbox::KeldtsSandbox() : port_(freePort()) {
    QDir().mkpath(root() + QStringLiteral("/xdg"));
    QFile::setPermissions(root() + QStringLiteral("/xdg"),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

KeldtsSandbox::~KeldtsSandbox() {
    if (pid_ > 0 && serverRunning()) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
}

QProcessEnvironment KeldtsSandbox::environment() const {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    // No display: the server has to come up headless whatever the test runner has.
    env.remove(QStringLiteral("DISPLAY"));
    env.remove(QStringLiteral("WAYLAND_DISPLAY"));
    env.remove(QStringLiteral("QT_QPA_PLATFORM"));
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), root() + QStringLiteral("/xdg"));
    return env;
}

RunResult KeldtsSandbox::run(const QStringList& args, const QString& workingDir,
                             int timeoutMs) const {
    QProcess process;
    process.setProcessEnvironment(environment());
    process.setWorkingDirectory(workingDir.isEmpty() ? root() : workingDir);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(QStringLiteral(KELDTS_BINARY), args);
    RunResult result;
    result.finished = process.waitForFinished(timeoutMs);
    if (!result.finished) {
        process.kill();
        process.waitForFinished();
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

QString KeldtsSandbox::ctl(const QString& command) const {
    return QString::fromUtf8(run({QStringLiteral("ctl"), command}).out).trimmed();
}

void KeldtsSandbox::writeBoard(bool withNodes) const {
    const RunResult r = run({QStringLiteral("demo"), boardDir(), QStringLiteral("--port"),
                             QString::number(port_), QStringLiteral("--no-run")});
    ASSERT_EQ(r.exitCode, 0) << r.out.toStdString() << r.err.toStdString();
    ASSERT_TRUE(QFile::exists(path(QStringLiteral("SYSPATHS.CFG"))));
    if (withNodes)
        return;
    // No channel for telnet: every caller who passes the other checks finds all nodes busy.
    QFile file(path(QStringLiteral("MAIN.CFG")));
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    ASSERT_TRUE(file.seek(210));
    ASSERT_EQ(file.write(QByteArray(2, '\0')), 2);
}

void KeldtsSandbox::setNetTime(const QByteArray& low, const QByteArray& high) const {
    QFile file(path(QStringLiteral("MAIN.CFG")));
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    ASSERT_EQ(low.size(), 5);
    ASSERT_EQ(high.size(), 5);
    ASSERT_TRUE(file.seek(212));
    ASSERT_EQ(file.write(low + high), 10);
}

bool KeldtsSandbox::startServer(QString* why) {
    const QByteArray binary = KELDTS_BINARY;
    const QByteArray headless = "--headless";
    char* argv[] = {const_cast<char*>(binary.constData()), const_cast<char*>(headless.constData()),
                    nullptr};
    std::vector<QByteArray> envStore;
    for (const QString& entry : environment().toStringList())
        envStore.push_back(entry.toLocal8Bit());
    std::vector<char*> envp;
    for (QByteArray& entry : envStore)
        envp.push_back(entry.data());
    envp.push_back(nullptr);

    const QByteArray outPath = QFile::encodeName(root() + QStringLiteral("/server.out"));
    const QByteArray cwd = QFile::encodeName(mainDir());
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, outPath.constData(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    posix_spawn_file_actions_addchdir_np(&actions, cwd.constData());
    const int failed =
        ::posix_spawn(&pid_, binary.constData(), &actions, nullptr, argv, envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0) {
        pid_ = -1;
        *why = QStringLiteral("posix_spawn: %1").arg(QString::fromLocal8Bit(strerror(failed)));
        return false;
    }
    // The control socket answers only from the running event loop, after the load.
    const bool up = waitUntil(
        [this] { return !serverRunning() || ctl(QStringLiteral("status")) == "online 1"; }, 30000);
    if (up && serverRunning())
        return true;
    *why =
        QStringLiteral("server did not come up; its output:\n") + QString::fromUtf8(serverOutput());
    return false;
}

bool KeldtsSandbox::serverRunning() {
    if (pid_ <= 0)
        return false;
    int status = 0;
    const pid_t r = ::waitpid(pid_, &status, WNOHANG);
    if (r == 0)
        return true;
    if (r == pid_)
        exitStatus_ = status;
    pid_ = -pid_; // remembered for the report, no longer ours to wait for
    return false;
}

int KeldtsSandbox::waitServerExit(int timeoutMs) {
    if (!waitUntil([this] { return !serverRunning(); }, timeoutMs))
        return -1;
    return WIFEXITED(exitStatus_) ? WEXITSTATUS(exitStatus_) : -1;
}

int KeldtsSandbox::stopServer(int signal, int timeoutMs) {
    if (pid_ > 0)
        ::kill(pid_, signal);
    const int code = waitServerExit(timeoutMs);
    if (code == -1 && serverRunning()) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
        pid_ = -pid_;
    }
    return code;
}

QByteArray KeldtsSandbox::serverOutput() const {
    QFile file(root() + QStringLiteral("/server.out"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool KeldtsSandbox::waitForOutput(const QByteArray& text, int timeoutMs) const {
    return waitUntil([&] { return serverOutput().contains(text); }, timeoutMs);
}

QByteArray KeldtsSandbox::read(const QString& name) const {
    QFile file(path(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void KeldtsSandbox::write(const QString& name, const QByteArray& bytes) const {
    QFile file(path(name));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    ASSERT_EQ(file.write(bytes), bytes.size());
}

QStringList KeldtsSandbox::logEntries(const QDateTime& since) const {
    const QString text = QString::fromLatin1(read(QStringLiteral("KELDTS.LOG")));
    QStringList lines = text.split(QStringLiteral("\r\n"));
    EXPECT_TRUE(text.endsWith(QStringLiteral("\r\n")))
        << "last line not ended: " << text.toStdString();
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    const QString rule(79, QLatin1Char('-'));
    const QStringList header{QStringLiteral("KELDTS Event Log"), rule,
                             QStringLiteral("Date           Time      Description"), rule};
    EXPECT_EQ(lines.mid(0, 4), header);
    static const QRegularExpression stamp(
        QStringLiteral("^([A-Z][a-z]{2}) (\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d)  (.*)$"));
    const QDateTime earliest = since.isValid() ? since.addMSecs(-since.time().msec()) : QDateTime();
    const QDateTime latest = QDateTime::currentDateTime().addSecs(1);
    QStringList entries;
    for (const QString& line : lines.mid(4)) {
        const QRegularExpressionMatch m = stamp.match(line);
        if (!m.hasMatch()) {
            ADD_FAILURE() << "log line without a time stamp: " << line.toStdString();
            continue;
        }
        const QDateTime when =
            QDateTime::fromString(m.captured(2), QStringLiteral("yyyy-MM-dd HH:mm:ss"));
        EXPECT_TRUE(when.isValid()) << line.toStdString();
        EXPECT_EQ(m.captured(1),
                  QLocale::c().dayName(when.date().dayOfWeek(), QLocale::ShortFormat))
            << line.toStdString();
        if (earliest.isValid()) {
            EXPECT_GE(when, earliest) << line.toStdString();
        }
        EXPECT_LE(when, latest) << line.toStdString();
        entries << m.captured(3);
    }
    return entries;
}

QByteArray asTelnetPrints(QByteArray networkText) {
    return networkText.replace("\r\n", "\n");
}
