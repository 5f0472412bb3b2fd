// Connection flood against the real keldts, measured against a bare accept()+close() server in
// the same process and the same run.
//
//   keldts_flood_bench [--connections N] [--concurrency N] [--rounds N] [--smoke]
//   keldts_flood_bench --port P --pid PID     (a keldts that is already running)
//
// Without --port it writes a demo board in a temporary folder and starts keldts on it, with a
// private runtime directory so that it never meets a sysop's own instance. Everything goes to
// 127.0.0.1 and every loop is bounded in count and time.

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <spawn.h>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

const QByteArray kBusyText = "You have reached KELD Demo Board.\r\n"
                             "All nodes are currently busy. Please try again later.\r\n";
// What QTcpServer asks of listen(); the bare server gets the same queue.
constexpr int kBacklog = 50;
constexpr int kCallTimeoutMs = 10000;
constexpr int kRunTimeoutMs = 120000;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

struct Tally {
    int busy = 0;   // heard the busy text, exactly
    int other = 0;  // heard something else
    int silent = 0; // closed without a byte
    int failed = 0; // connect refused or error, or no close within the time limit
    double seconds = 0;
    int total() const { return busy + other + silent + failed; }
};

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
    else if (c.bytes == kBusyText)
        ++tally.busy;
    else
        ++tally.other;
    ::close(c.fd);
    c.fd = -1;
}

// Opens `total` connections, at most `concurrency` at a time, each read until the server ends it.
Tally drive(quint16 port, int total, int concurrency) {
    Tally tally;
    std::vector<Call> calls;
    int started = 0;
    const auto begin = Clock::now();
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
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
            const int r = ::connect(c.fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
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

// The least a server can do: take each connection and close it.
class BareServer {
  public:
    BareServer() {
        fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
            ::listen(fd_, kBacklog) != 0 ||
            ::getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
            std::perror("bare server");
            std::exit(2);
        }
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] {
            while (!stop_) {
                const int c = ::accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
                if (c >= 0)
                    ::close(c);
                else if (errno != EINTR && errno != ECONNABORTED)
                    break;
            }
        });
    }
    ~BareServer() {
        stop_ = true;
        ::shutdown(fd_, SHUT_RDWR); // wakes the blocked accept()
        thread_.join();
        ::close(fd_);
    }
    quint16 port() const { return port_; }

  private:
    int fd_ = -1;
    quint16 port_ = 0;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

struct ProcessFigures {
    long hwmKb = -1;
    long rssKb = -1;
    int descriptors = -1;
};

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

// keldts on a throw-away demo board.
class OwnServer {
  public:
    bool start(quint16 port) {
        env_ = QProcessEnvironment::systemEnvironment();
        env_.remove(QStringLiteral("DISPLAY"));
        env_.remove(QStringLiteral("WAYLAND_DISPLAY"));
        env_.remove(QStringLiteral("QT_QPA_PLATFORM"));
        QDir().mkpath(dir_.path() + QStringLiteral("/xdg"));
        QFile::setPermissions(dir_.path() + QStringLiteral("/xdg"),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        env_.insert(QStringLiteral("XDG_RUNTIME_DIR"), dir_.path() + QStringLiteral("/xdg"));
        const QString board = dir_.path() + QStringLiteral("/board");
        run({QStringLiteral("demo"), board, QStringLiteral("--port"), QString::number(port),
             QStringLiteral("--no-run")});
        // No telnet channel: every admitted caller hears that all nodes are busy.
        QFile mainCfg(board + QStringLiteral("/KELD/MAIN.CFG"));
        if (!mainCfg.open(QIODevice::ReadWrite) || !mainCfg.seek(210) ||
            mainCfg.write(QByteArray(2, '\0')) != 2) {
            std::fprintf(stderr, "the demo board was not written\n");
            return false;
        }
        mainCfg.close();
        const QByteArray binary = KELDTS_BINARY;
        const QByteArray headless = "--headless";
        char* argv[] = {const_cast<char*>(binary.constData()),
                        const_cast<char*>(headless.constData()), nullptr};
        std::vector<QByteArray> store;
        for (const QString& e : env_.toStringList())
            store.push_back(e.toLocal8Bit());
        std::vector<char*> envp;
        for (QByteArray& e : store)
            envp.push_back(e.data());
        envp.push_back(nullptr);
        const QByteArray cwd = QFile::encodeName(board + QStringLiteral("/KELD"));
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
            if (run({QStringLiteral("ctl"), QStringLiteral("status")}) == "online 1")
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        std::fprintf(stderr, "keldts did not come up\n");
        return false;
    }

    ~OwnServer() {
        if (pid_ <= 0)
            return;
        ::kill(pid_, SIGTERM);
        const auto begin = Clock::now();
        while (::waitpid(pid_, nullptr, WNOHANG) == 0) {
            if (secondsSince(begin) > 20) {
                ::kill(pid_, SIGKILL);
                ::waitpid(pid_, nullptr, 0);
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }

    pid_t pid() const { return pid_; }

  private:
    QString run(const QStringList& args) {
        QProcess p;
        p.setProcessEnvironment(env_);
        p.setWorkingDirectory(dir_.path());
        p.start(QStringLiteral(KELDTS_BINARY), args);
        if (!p.waitForFinished(15000)) {
            p.kill();
            p.waitForFinished();
        }
        return QString::fromUtf8(p.readAllStandardOutput()).trimmed();
    }

    QTemporaryDir dir_;
    QProcessEnvironment env_;
    pid_t pid_ = -1;
};

quint16 freePort() {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    socklen_t length = sizeof address;
    quint16 port = 0;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0)
        port = ntohs(address.sin_port);
    ::close(fd);
    return port;
}

void printTally(const char* name, const Tally& t) {
    const double n = t.total() > 0 ? t.total() : 1;
    std::printf("  %-7s %6d calls %7.3f s %7.0f calls/s  busy %d (%.2f%%)  silent %d (%.2f%%)  "
                "other %d  failed %d\n",
                name, t.total(), t.seconds, t.total() / std::max(t.seconds, 1e-9), t.busy,
                100.0 * t.busy / n, t.silent, 100.0 * t.silent / n, t.other, t.failed);
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

} // namespace

int main(int argc, char** argv) {
    int connections = 2000;
    int concurrency = 32;
    int rounds = 3;
    bool smoke = false;
    quint16 port = 0;
    pid_t pid = -1;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const bool hasValue = i + 1 < argc;
        if (a == "--connections" && hasValue)
            connections = std::clamp(std::atoi(argv[++i]), 1, 20000);
        else if (a == "--concurrency" && hasValue)
            concurrency = std::clamp(std::atoi(argv[++i]), 1, kBacklog);
        else if (a == "--rounds" && hasValue)
            rounds = std::clamp(std::atoi(argv[++i]), 1, 10);
        else if (a == "--port" && hasValue)
            port = quint16(std::atoi(argv[++i]));
        else if (a == "--pid" && hasValue)
            pid = std::atoi(argv[++i]);
        else if (a == "--smoke")
            smoke = true;
        else {
            std::fprintf(stderr,
                         "usage: %s [--connections N] [--concurrency N] [--rounds N] [--smoke]\n"
                         "       %s --port P --pid PID [...]\n",
                         argv[0], argv[0]);
            return 2;
        }
    }
    if (smoke) {
        connections = 50;
        rounds = 1;
    }
    std::signal(SIGPIPE, SIG_IGN);

    OwnServer own;
    if (port == 0) {
        port = freePort();
        if (!own.start(port))
            return 1;
        pid = own.pid();
    }

    // Measured once the start-up (and the control calls that waited for it) have settled.
    std::this_thread::sleep_for(std::chrono::milliseconds(1200));
    const ProcessFigures before = figures(pid);
    std::printf("flood: %d connections per round, %d at a time, %d round(s), 127.0.0.1\n",
                connections, concurrency, rounds);
    std::vector<double> bareTimes, keldtsTimes;
    Tally lastBare, lastKeldts;
    for (int r = 0; r < rounds; ++r) {
        {
            BareServer bare;
            lastBare = drive(bare.port(), connections, concurrency);
        }
        // Let the admission lock of the previous round run out, so each round starts on a
        // server that is ready to answer.
        std::this_thread::sleep_for(std::chrono::milliseconds(1200));
        lastKeldts = drive(port, connections, concurrency);
        std::printf("round %d\n", r + 1);
        printTally("bare", lastBare);
        printTally("keldts", lastKeldts);
        bareTimes.push_back(lastBare.seconds);
        keldtsTimes.push_back(lastKeldts.seconds);
    }
    const ProcessFigures peak = figures(pid);

    // Refused callers are closed once their words are out; give that a bounded while.
    const auto settle = Clock::now();
    ProcessFigures after = figures(pid);
    while (after.descriptors != before.descriptors && secondsSince(settle) < 15) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        after = figures(pid);
    }
    const double bare = median(bareTimes);
    const double keldts = median(keldtsTimes);
    std::printf("median time: bare %.3f s, keldts %.3f s, ratio keldts/bare %.2f\n", bare, keldts,
                bare > 0 ? keldts / bare : 0.0);
    std::printf("keldts pid %d: VmHWM %ld kB before, %ld kB after (x%.2f); VmRSS %ld kB after\n",
                int(pid), before.hwmKb, peak.hwmKb,
                before.hwmKb > 0 ? double(peak.hwmKb) / before.hwmKb : 0.0, after.rssKb);
    std::printf("keldts descriptors: %d before, %d at the end of the flood, %d after %.1f s\n",
                before.descriptors, peak.descriptors, after.descriptors, secondsSince(settle));

    bool ok = after.descriptors == before.descriptors;
    if (smoke)
        ok = ok && lastKeldts.failed == 0 && lastKeldts.other == 0 && lastKeldts.total() > 0;
    if (!ok)
        std::printf("FAILED: %s\n", after.descriptors != before.descriptors
                                        ? "descriptors did not return to where they were"
                                        : "calls failed or heard unexpected text");
    return ok ? 0 : 1;
}
