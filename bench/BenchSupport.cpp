#include "BenchSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <netinet/in.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace bench {

namespace {

constexpr int kCallTimeoutMs = 10000;
constexpr int kRunTimeoutMs = 120000;
constexpr int kToolTimeoutMs = 15000;

struct Call {
    int fd = -1;
    bool connected = false;
    QByteArray bytes;
    Clock::time_point started;
};

void finish(Call& c, Tally& tally, bool failed) {
    if (failed)
        ++tally.failed;
    else if (c.bytes.isEmpty())
        ++tally.silent;
    else if (c.bytes == busyText())
        ++tally.busy;
    else
        ++tally.other;
    ::close(c.fd);
    c.fd = -1;
}

sockaddr_in loopback(quint16 port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

} // namespace

bool writeI16(const QString& path, qint64 offset, int value) {
    QFile file(path);
    const char bytes[2] = {char(value & 0xff), char((value >> 8) & 0xff)};
    return file.open(QIODevice::ReadWrite) && file.seek(offset) && file.write(bytes, 2) == 2;
}

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void pauseMs(int ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

const QByteArray& busyText() {
    static const QByteArray text = "You have reached KELD Demo Board.\r\n"
                                   "All nodes are currently busy. Please try again later.\r\n";
    return text;
}

quint16 freePort() {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    socklen_t length = sizeof address;
    quint16 port = 0;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0)
        port = ntohs(address.sin_port);
    ::close(fd);
    return port;
}

int listenLoopback(quint16* port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(fd, kBacklog) != 0 ||
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        std::perror("listen on 127.0.0.1");
        std::exit(2);
    }
    *port = ntohs(address.sin_port);
    return fd;
}

int connectLoopback(quint16 port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(port);
    if (fd >= 0 && ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return fd;
    if (fd >= 0)
        ::close(fd);
    return -1;
}

Received receiveSome(int fd, QByteArray* into) {
    pollfd p{fd, POLLIN, 0};
    const int ready = ::poll(&p, 1, 100);
    if (ready < 0 && errno != EINTR)
        return Received::Closed;
    if (ready <= 0)
        return Received::Nothing;
    char buffer[4096];
    const ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
    if (n < 0 && errno == EINTR)
        return Received::Nothing;
    if (n <= 0)
        return Received::Closed;
    into->append(buffer, n);
    return Received::Bytes;
}

Tally drive(quint16 port, int total, int concurrency) {
    Tally tally;
    std::vector<Call> calls;
    int started = 0;
    const auto begin = Clock::now();
    const sockaddr_in address = loopback(port);
    while ((started < total || !calls.empty()) && secondsSince(begin) * 1000 < kRunTimeoutMs) {
        while (started < total && int(calls.size()) < concurrency) {
            ++started;
            Call c;
            c.started = Clock::now();
            c.fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
            if (c.fd < 0) {
                ++tally.failed;
                continue;
            }
            const int r =
                ::connect(c.fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
            if (r != 0 && errno != EINPROGRESS) {
                finish(c, tally, true);
                continue;
            }
            c.connected = r == 0;
            calls.push_back(c);
        }
        std::vector<pollfd> polls;
        for (const Call& c : calls)
            polls.push_back({c.fd, short(c.connected ? POLLIN : POLLOUT), 0});
        if (::poll(polls.data(), polls.size(), 100) < 0 && errno != EINTR)
            break;
        for (size_t i = 0; i < calls.size(); ++i) {
            Call& c = calls[i];
            const short ev = polls[i].revents;
            if (!c.connected && (ev & (POLLOUT | POLLERR | POLLHUP))) {
                int error = 0;
                socklen_t length = sizeof error;
                ::getsockopt(c.fd, SOL_SOCKET, SO_ERROR, &error, &length);
                if (error != 0) {
                    finish(c, tally, true);
                    continue;
                }
                c.connected = true;
            }
            if (c.connected && (ev & (POLLIN | POLLERR | POLLHUP))) {
                char buffer[4096];
                while (true) {
                    const ssize_t n = ::recv(c.fd, buffer, sizeof buffer, 0);
                    if (n > 0) {
                        c.bytes.append(buffer, n);
                        continue;
                    }
                    if (n < 0 && (errno == EAGAIN || errno == EINTR))
                        break;
                    // End of stream or reset: either way the server is done with us.
                    finish(c, tally, false);
                    break;
                }
            }
            if (c.fd >= 0 && secondsSince(c.started) * 1000 > kCallTimeoutMs)
                finish(c, tally, true);
        }
        calls.erase(
            std::remove_if(calls.begin(), calls.end(), [](const Call& c) { return c.fd < 0; }),
            calls.end());
    }
    for (Call& c : calls)
        finish(c, tally, true);
    tally.seconds = secondsSince(begin);
    return tally;
}

void printTally(const char* name, const Tally& t) {
    const double n = t.total() > 0 ? t.total() : 1;
    std::printf("  %-7s %6d calls %7.3f s %7.0f calls/s  busy %d (%.2f%%)  silent %d (%.2f%%)  "
                "other %d  failed %d\n",
                name, t.total(), t.seconds, t.total() / std::max(t.seconds, 1e-9), t.busy,
                100.0 * t.busy / n, t.silent, 100.0 * t.silent / n, t.other, t.failed);
}

ProcessFigures figures(pid_t pid) {
    ProcessFigures f;
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (status.open(QIODevice::ReadOnly)) {
        for (const QByteArray& line : status.readAll().split('\n')) {
            if (line.startsWith("VmHWM:"))
                f.hwmKb = line.mid(6).trimmed().split(' ').value(0).toLong();
            else if (line.startsWith("VmRSS:"))
                f.rssKb = line.mid(6).trimmed().split(' ').value(0).toLong();
        }
    }
    const QDir fds(QStringLiteral("/proc/%1/fd").arg(pid));
    if (fds.exists())
        f.descriptors =
            int(fds.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size());
    return f;
}

ProcessFigures settledFigures(pid_t pid) {
    ProcessFigures f = figures(pid);
    auto still = Clock::now();
    const auto begin = still;
    while (secondsSince(still) < 1 && secondsSince(begin) < 10) {
        pauseMs(100);
        const ProcessFigures now = figures(pid);
        if (now.descriptors != f.descriptors)
            still = Clock::now();
        f = now;
    }
    return f;
}

void warmUp(quint16 port) {
    const int fd = connectLoopback(port);
    if (fd >= 0) {
        const auto begin = Clock::now();
        char buffer[4096];
        pollfd p{fd, POLLIN, 0};
        while (secondsSince(begin) < 10 && ::poll(&p, 1, 100) >= 0) {
            if ((p.revents & (POLLIN | POLLHUP | POLLERR)) &&
                ::recv(fd, buffer, sizeof buffer, 0) <= 0)
                break;
        }
        ::close(fd);
    }
    pauseMs(1200);
}

double cpuSeconds(pid_t pid) {
    QFile file(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    // The command name may hold spaces and parentheses; the fields start after the last ')'.
    const QByteArray stat = file.readAll();
    const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
    // utime and stime are fields 14 and 15 of the whole line, 12 and 13 after the name.
    if (fields.size() < 13)
        return -1;
    return double(fields.at(11).toLongLong() + fields.at(12).toLongLong()) / ::sysconf(_SC_CLK_TCK);
}

std::vector<pid_t> processesWith(const QByteArray& word, const QString& cwd) {
    std::vector<pid_t> found;
    const QString wanted = cwd.isEmpty() ? QString() : QFileInfo(cwd).canonicalFilePath();
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString& entry : entries) {
        bool numeric = false;
        const pid_t pid = entry.toInt(&numeric);
        if (!numeric)
            continue;
        QFile cmdline(QStringLiteral("/proc/%1/cmdline").arg(pid));
        if (!cmdline.open(QIODevice::ReadOnly) || !cmdline.readAll().split('\0').contains(word))
            continue;
        if (!wanted.isEmpty() &&
            QFile::symLinkTarget(QStringLiteral("/proc/%1/cwd").arg(pid)) != wanted)
            continue;
        found.push_back(pid);
    }
    return found;
}

BenchBoard::BenchBoard() {
    env_ = QProcessEnvironment::systemEnvironment();
    env_.remove(QStringLiteral("DISPLAY"));
    env_.remove(QStringLiteral("WAYLAND_DISPLAY"));
    env_.remove(QStringLiteral("QT_QPA_PLATFORM"));
    const QString xdg = dir_.path() + QStringLiteral("/xdg");
    QDir().mkpath(xdg);
    QFile::setPermissions(xdg, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    env_.insert(QStringLiteral("XDG_RUNTIME_DIR"), xdg);
}

BenchBoard::~BenchBoard() {
    stop();
}

bool BenchBoard::write(quint16 port, int channels, int maxConnections) {
    port_ = port;
    run({QStringLiteral("demo"), dir_.path() + QStringLiteral("/board"), QStringLiteral("--port"),
         QString::number(port), QStringLiteral("--no-run")});
    // maxchannelno of MAIN.CFG and maxconnections of KELDTS.CFG.
    if (!writeI16(mainDir() + QStringLiteral("/MAIN.CFG"), 210, channels) ||
        (maxConnections >= 0 &&
         !writeI16(mainDir() + QStringLiteral("/KELDTS.CFG"), 4, maxConnections))) {
        std::fprintf(stderr, "the demo board was not written\n");
        return false;
    }
    return true;
}

bool BenchBoard::start() {
    const QByteArray binary = KELDTS_BINARY;
    const QByteArray headless = "--headless";
    char* argv[] = {const_cast<char*>(binary.constData()), const_cast<char*>(headless.constData()),
                    nullptr};
    QProcessEnvironment env = env_;
    env.insert(serverEnv_);
    std::vector<QByteArray> store;
    for (const QString& e : env.toStringList())
        store.push_back(e.toLocal8Bit());
    std::vector<char*> envp;
    for (QByteArray& e : store)
        envp.push_back(e.data());
    envp.push_back(nullptr);
    const QByteArray cwd = QFile::encodeName(mainDir());
    const QByteArray out = QFile::encodeName(dir_.path() + QStringLiteral("/keldts.out"));
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.constData(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    posix_spawn_file_actions_addchdir_np(&actions, cwd.constData());
    const int failed =
        ::posix_spawn(&pid_, binary.constData(), &actions, nullptr, argv, envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0) {
        std::fprintf(stderr, "cannot start %s: %s\n", binary.constData(), strerror(failed));
        pid_ = -1;
        return false;
    }
    const auto begin = Clock::now();
    while (secondsSince(begin) < 30) {
        if (::waitpid(pid_, nullptr, WNOHANG) == pid_) {
            pid_ = -1;
            break;
        }
        if (ctl(QStringLiteral("status")) == QLatin1String("online 1"))
            return true;
        pauseMs(50);
    }
    std::fprintf(stderr, "keldts did not come up\n");
    return false;
}

void BenchBoard::stop() {
    if (pid_ > 0) {
        ::kill(pid_, SIGTERM);
        const auto begin = Clock::now();
        while (::waitpid(pid_, nullptr, WNOHANG) == 0) {
            if (secondsSince(begin) > 20) {
                ::kill(pid_, SIGKILL);
                ::waitpid(pid_, nullptr, 0);
                break;
            }
            pauseMs(20);
        }
        pid_ = -1;
    }
    // Node windows outlive the server on purpose, so that a restart adopts them; a throw-away
    // board's tmux server would outlive the driver too.
    if (!tmuxSocket().isEmpty())
        tmux({QStringLiteral("kill-server")});
}

QString BenchBoard::run(const QStringList& args, const QString& workingDir) const {
    QProcess p;
    p.setProcessEnvironment(env_);
    p.setWorkingDirectory(workingDir.isEmpty() ? dir_.path() : workingDir);
    p.setStandardInputFile(QProcess::nullDevice());
    p.start(QStringLiteral(KELDTS_BINARY), args);
    if (!p.waitForFinished(kToolTimeoutMs)) {
        p.kill();
        p.waitForFinished();
    }
    return QString::fromUtf8(p.readAllStandardOutput()).trimmed();
}

QString BenchBoard::ctl(const QString& command) const {
    return run({QStringLiteral("ctl"), command}, mainDir());
}

QString BenchBoard::tmuxSocket() const {
    const QDir runtime(mainDir() + QStringLiteral("/.keldts/host"));
    const QStringList sockets =
        runtime.entryList({QStringLiteral("tmux-*")}, QDir::System | QDir::Files);
    return sockets.isEmpty() ? QString() : runtime.filePath(sockets.first());
}

bool BenchBoard::tmux(const QStringList& command, QByteArray* output) const {
    QProcess p;
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.setStandardInputFile(QProcess::nullDevice());
    p.start(QStringLiteral("tmux"), QStringList{QStringLiteral("-f"), QStringLiteral("/dev/null"),
                                                QStringLiteral("-S"), tmuxSocket()} +
                                        command);
    if (!p.waitForFinished(kToolTimeoutMs)) {
        p.kill();
        p.waitForFinished();
        return false;
    }
    if (output)
        *output = p.readAll();
    return p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}

QStringList BenchBoard::nodeWindows() const {
    static const QRegularExpression title(QStringLiteral("^Node\\[\\d+\\] - KELDTS$"));
    QByteArray output;
    if (!tmux({QStringLiteral("list-windows"), QStringLiteral("-t"), QStringLiteral("=KELDTS"),
               QStringLiteral("-F"), QStringLiteral("#{window_name}")},
              &output))
        return {};
    QStringList windows;
    for (const QString& name : QString::fromUtf8(output).split(QLatin1Char('\n')))
        if (title.match(name).hasMatch())
            windows << name;
    return windows;
}

namespace {
const QByteArray kDoEcho("\xff\xfd\x01", 3);
constexpr char kIac = '\xff';
// A node's greeting may come from an emulator that takes a while to start.
constexpr int kNodeTimeoutMs = 15000;
} // namespace

Heard readUntil(int fd, const QByteArray& wanted, bool answerOptions,
                Clock::time_point* answeredAt) {
    QByteArray bytes;
    bool answered = !answerOptions;
    const auto begin = Clock::now();
    while (secondsSince(begin) * 1000 < kNodeTimeoutMs) {
        const Received got = receiveSome(fd, &bytes);
        if (got == Received::Nothing)
            continue;
        if (got == Received::Closed)
            return bytes.isEmpty() ? Heard::Silent : Heard::Failed;
        if (!answered && bytes.contains(kIac)) {
            answered = true;
            if (answeredAt)
                *answeredAt = Clock::now();
            if (::send(fd, kDoEcho.constData(), kDoEcho.size(), MSG_NOSIGNAL) != kDoEcho.size())
                return Heard::Failed;
        }
        if (bytes.contains(wanted))
            return Heard::Text;
    }
    return Heard::Failed;
}

bool waitFor(const std::function<bool()>& condition, int timeoutMs) {
    const auto begin = Clock::now();
    while (!condition()) {
        if (secondsSince(begin) * 1000 > timeoutMs)
            return false;
        pauseMs(50);
    }
    return true;
}

int admittedCaller(quint16 port, Clock::time_point& lastCall, const QByteArray& until,
                   double* seconds, double* options, int* retries) {
    for (int attempt = 0; attempt < 5; ++attempt) {
        const double wait = kAdmissionSpacingMs / 1000.0 - secondsSince(lastCall);
        if (wait > 0)
            pauseMs(int(wait * 1000));
        lastCall = Clock::now();
        const int fd = connectLoopback(port);
        if (fd < 0)
            return -1;
        Clock::time_point answered;
        const Heard heard = readUntil(fd, until, true, &answered);
        if (heard == Heard::Text) {
            if (seconds)
                *seconds = secondsSince(lastCall);
            if (options)
                *options = std::chrono::duration<double>(answered - lastCall).count();
            return fd;
        }
        ::close(fd);
        if (heard == Heard::Failed)
            return -1;
        if (retries)
            ++*retries;
    }
    return -1;
}

} // namespace bench
