// The event loop while a caller's host name is looked up: keldts on a throw-away board with
// host-name look-ups on and a slow name server in front of the C library (keldts_slow_resolver,
// loaded with LD_PRELOAD), one caller, and `status` asked back to back for as long as the
// caller waits for its host line, each time by a `keldts ctl status` process and straight over
// the control socket. The same rounds with no look-up pending, just before, are the baseline.
//
//   keldts_resolver_bench [--delay-ms N]
//
// Exits 1 when something could not be measured.

#include "BenchSupport.h"

#include <QFile>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

using namespace bench;

namespace {

const QByteArray kResolving = "Resolving Hostname... \x1b[0m";
constexpr qint64 kResolveHostNameOffset = 108; // in KELDTS.CFG
constexpr double kLimitMs = 50;
constexpr int kReplyTimeoutMs = 5000;
constexpr int kCallerTimeoutMs = 30000;

double msSince(Clock::time_point start) {
    return secondsSince(start) * 1000;
}

// One request over the control socket, read until the server hangs up.
QByteArray socketRequest(const QByteArray& path, const QByteArray& command) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (size_t(path.size()) >= sizeof address.sun_path)
        return {};
    std::copy(path.begin(), path.end(), address.sun_path);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    QByteArray reply;
    const QByteArray line = command + '\n';
    if (fd >= 0 && ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        ::send(fd, line.constData(), line.size(), MSG_NOSIGNAL) == line.size()) {
        const auto begin = Clock::now();
        pollfd p{fd, POLLIN, 0};
        while (msSince(begin) < kReplyTimeoutMs && ::poll(&p, 1, 100) >= 0) {
            char buffer[512];
            const ssize_t n = (p.revents & (POLLIN | POLLHUP | POLLERR))
                                  ? ::recv(fd, buffer, sizeof buffer, 0)
                                  : -1;
            if (n > 0)
                reply.append(buffer, n);
            else if (n == 0 || errno != EINTR)
                break;
        }
    }
    if (fd >= 0)
        ::close(fd);
    return reply.trimmed();
}

struct Rounds {
    std::vector<double> processMs, socketMs;
    std::vector<Clock::time_point> socketStarts;
    int wrongReplies = 0;
};

// One `ctl status` process, then one request over the socket; both timed.
void round(const BenchBoard& board, const QByteArray& socketPath, Rounds& r) {
    auto begin = Clock::now();
    const QString viaProcess = board.ctl(QStringLiteral("status"));
    r.processMs.push_back(msSince(begin));
    begin = Clock::now();
    const QByteArray viaSocket = socketRequest(socketPath, "status");
    r.socketMs.push_back(msSince(begin));
    r.socketStarts.push_back(begin);
    if (viaProcess != QLatin1String("online 1") || viaSocket != "online 1")
        ++r.wrongReplies;
}

// Count, median, max and calls over the limit; with `base`, the ratios against it.
void report(const char* name, const std::vector<double>& ms, const std::vector<double>* base) {
    const auto most = [](const std::vector<double>& v) {
        return v.empty() ? 0.0 : *std::max_element(v.begin(), v.end());
    };
    const auto over = std::count_if(ms.begin(), ms.end(), [](double v) { return v > kLimitMs; });
    std::printf("  %-8s %4zu rounds  median %6.2f ms  max %6.2f ms  over %.0f ms: %td", name,
                ms.size(), median(ms), most(ms), kLimitMs, over);
    if (base && median(*base) > 0 && most(*base) > 0)
        std::printf("  (x%.2f median, x%.2f max against the baseline)", median(ms) / median(*base),
                    most(ms) / most(*base));
    std::printf("\n");
}

// The functions the shim held for `pid`, one entry a call.
QList<QByteArray> shimCalls(const QString& logPath, pid_t pid) {
    QFile log(logPath);
    QList<QByteArray> calls;
    if (log.open(QIODevice::ReadOnly))
        for (const QByteArray& line : log.readAll().split('\n'))
            if (line.split(' ').value(0).toInt() == pid)
                calls << line.split(' ').value(1);
    return calls;
}

} // namespace

int main(int argc, char** argv) {
    int delayMs = 3000;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--delay-ms" && i + 1 < argc) {
            delayMs = std::clamp(std::atoi(argv[++i]), 100, 20000);
        } else {
            std::fprintf(stderr, "usage: %s [--delay-ms N]\n", argv[0]);
            return 2;
        }
    }
    std::signal(SIGPIPE, SIG_IGN);

    BenchBoard board;
    const QString runtime = board.environment().value(QStringLiteral("XDG_RUNTIME_DIR"));
    const QString logPath = runtime + QStringLiteral("/slow-resolver.log");
    board.setServerVariable(QStringLiteral("LD_PRELOAD"), QStringLiteral(SLOW_RESOLVER));
    board.setServerVariable(QStringLiteral("KELDTS_SLOW_RESOLVER_MS"), QString::number(delayMs));
    board.setServerVariable(QStringLiteral("KELDTS_SLOW_RESOLVER_LOG"), logPath);
    // One telnet channel, so the caller is admitted as far as the look-up.
    if (!board.write(freePort(), 1) ||
        !writeI16(board.mainDir() + QStringLiteral("/KELDTS.CFG"), kResolveHostNameOffset, 1) ||
        !board.start())
        return 1;
    const QByteArray socketPath =
        QFile::encodeName(board.mainDir() + QStringLiteral("/.keldts/KELDTS.sock"));
    std::printf("resolver: look-ups held %d ms by the shim, keldts pid %d, limit %.0f ms\n",
                delayMs, int(board.pid()), kLimitMs);

    Rounds baseline;
    const auto baselineStart = Clock::now();
    while (msSince(baselineStart) < delayMs)
        round(board, socketPath, baseline);
    const double baselineSeconds = secondsSince(baselineStart);
    const qsizetype callsBefore = shimCalls(logPath, board.pid()).size();

    // The caller, read in a thread of its own so the times of its prompt and host line do not
    // wait for a round to end. Stage 1: prompt heard; 2: host line heard; -1 and -2: not heard.
    std::atomic<int> stage{0};
    Clock::time_point promptAt, hostLineAt;
    QByteArray hostLine;
    const int caller = connectLoopback(board.port());
    if (caller < 0) {
        std::printf("FAILED: the caller could not connect\n");
        return 1;
    }
    std::thread reader([&] {
        QByteArray bytes;
        const auto begin = Clock::now();
        while (msSince(begin) < kCallerTimeoutMs) {
            const Received got = receiveSome(caller, &bytes);
            if (got == Received::Closed)
                break;
            if (got == Received::Nothing)
                continue;
            const qsizetype prompt = bytes.indexOf(kResolving);
            if (prompt < 0)
                continue;
            if (stage == 0) {
                promptAt = Clock::now();
                stage = 1;
            }
            const qsizetype end = bytes.indexOf("\r\n", prompt);
            if (end >= 0) {
                hostLineAt = Clock::now();
                const qsizetype from = prompt + kResolving.size();
                hostLine = bytes.mid(from, end - from);
                stage = 2;
                return;
            }
        }
        stage = stage == 1 ? -2 : -1;
    });

    Rounds pending;
    const auto callStart = Clock::now();
    while (stage == 0 && msSince(callStart) < kCallerTimeoutMs)
        pauseMs(1);
    while (stage == 1)
        round(board, socketPath, pending);
    reader.join();
    ::close(caller);
    const QList<QByteArray> during = shimCalls(logPath, board.pid()).mid(callsBefore);
    if (stage != 2) {
        std::printf("FAILED: the caller never heard %s\n",
                    stage == -2 ? "its host line" : "the resolving prompt");
        return 1;
    }
    const double waitMs = std::chrono::duration<double, std::milli>(hostLineAt - promptAt).count();
    double widestGapMs = 0;
    for (size_t i = 1; i < pending.socketStarts.size(); ++i)
        widestGapMs =
            std::max(widestGapMs, std::chrono::duration<double, std::milli>(
                                      pending.socketStarts[i] - pending.socketStarts[i - 1])
                                      .count());

    std::printf("caller: waited %.0f ms from the resolving prompt for its host line \"%s\"; "
                "shim calls from keldts: %lld during the wait (%s), %lld before\n",
                waitMs, hostLine.constData(), qlonglong(during.size()),
                during.join(", ").constData(), qlonglong(callsBefore));
    std::printf("baseline, no look-up pending (%.1f s):\n", baselineSeconds);
    report("process", baseline.processMs, nullptr);
    report("socket", baseline.socketMs, nullptr);
    std::printf("look-up pending (widest gap between socket requests %.0f ms):\n", widestGapMs);
    report("process", pending.processMs, &baseline.processMs);
    report("socket", pending.socketMs, &baseline.socketMs);

    const auto within = [](const std::vector<double>& ms) {
        return std::all_of(ms.begin(), ms.end(), [](double v) { return v <= kLimitMs; });
    };
    std::printf("every socket round trip within %.0f ms during the look-up: %s\n", kLimitMs,
                within(pending.socketMs) ? "yes" : "NO");
    std::printf("every ctl process round trip within %.0f ms during the look-up: %s\n", kLimitMs,
                within(pending.processMs) ? "yes" : "NO");

    const char* failure = nullptr;
    if (baseline.socketMs.empty() || pending.socketMs.size() < 2)
        failure = "too few rounds";
    else if (baseline.wrongReplies + pending.wrongReplies > 0)
        failure = "a status request went unanswered or answered something else";
    else if (during.isEmpty())
        failure = "the look-up did not go through the shim";
    else if (waitMs < delayMs * 0.9)
        failure = "the host line came sooner than the shim lets a look-up end";
    if (failure)
        std::printf("FAILED: %s\n", failure);
    return failure ? 1 : 0;
}
