#pragma once

// What the load drivers share: a keldts of their own on a throw-away demo board, a bounded
// connection flood, and the look at a process from /proc.

#include <QByteArray>
#include <QProcessEnvironment>
#include <QStringList>
#include <QTemporaryDir>

#include <chrono>
#include <functional>
#include <sys/types.h>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start);
void pauseMs(int ms);
double median(std::vector<double> values);

// What QTcpServer asks of listen(); a driver's own servers get the same queue.
constexpr int kBacklog = 50;

const QByteArray& busyText();

// A little-endian 16-bit value at `offset` of an existing file, as the board's .CFG files hold
// them.
bool writeI16(const QString& path, qint64 offset, int value);

// A TCP port that nothing listens on right now.
quint16 freePort();
// A listening socket on 127.0.0.1 at an ephemeral port; exits the driver when that fails.
int listenLoopback(quint16* port);
// A blocking connection to 127.0.0.1, or -1.
int connectLoopback(quint16 port);

// Waits up to 100 ms for bytes on `fd` and appends what came to `into`.
enum class Received { Bytes, Nothing, Closed };
Received receiveSome(int fd, QByteArray* into);

struct Tally {
    int busy = 0;   // heard the busy text, exactly
    int other = 0;  // heard something else
    int silent = 0; // closed without a byte
    int failed = 0; // connect refused or error, or no close within the time limit
    double seconds = 0;
    int total() const { return busy + other + silent + failed; }
};

// Opens `total` connections, at most `concurrency` at a time, each read until the server ends it.
Tally drive(quint16 port, int total, int concurrency);
void printTally(const char* name, const Tally& t);

struct ProcessFigures {
    long hwmKb = -1;
    long rssKb = -1;
    int descriptors = -1;
};
ProcessFigures figures(pid_t pid);
// The figures once the descriptor count has held still for a second (at most ten seconds).
ProcessFigures settledFigures(pid_t pid);
// One call read to its end, then the admission lock let run out: what a server opens at its
// first caller (the tmux control client, say) is open before a driver counts descriptors.
void warmUp(quint16 port);
// utime + stime of the process, in seconds.
double cpuSeconds(pid_t pid);
// Processes whose command line holds `word` and, when `cwd` is given, that run in that folder.
std::vector<pid_t> processesWith(const QByteArray& word, const QString& cwd = {});

// keldts on a demo board in a temporary folder, so that it never meets a sysop's own instance
// or its tmux server: those belong to the board.
class BenchBoard {
  public:
    BenchBoard();
    ~BenchBoard();
    BenchBoard(const BenchBoard&) = delete;
    BenchBoard& operator=(const BenchBoard&) = delete;

    // `keldts demo --no-run`, then `channels` telnet nodes in MAIN.CFG and, when not negative,
    // `maxConnections` in KELDTS.CFG.
    bool write(quint16 port, int channels, int maxConnections = -1);
    // A variable that start() gives the server alone, not the `keldts ctl` clients.
    void setServerVariable(const QString& name, const QString& value) {
        serverEnv_.insert(name, value);
    }
    // `keldts --headless` in the main directory, waited for until it answers as online.
    bool start();
    // SIGTERM, then SIGKILL after a bounded wait; the board's tmux server goes too.
    void stop();

    pid_t pid() const { return pid_; }
    quint16 port() const { return port_; }
    QString mainDir() const { return dir_.path() + QStringLiteral("/board/KELD"); }
    QProcessEnvironment environment() const { return env_; }
    QString ctl(const QString& command) const;
    // Runs keldts to its end; its standard output, trimmed.
    QString run(const QStringList& args, const QString& workingDir = {}) const;

    // The board's private tmux server: its socket, a command against it, its node windows.
    QString tmuxSocket() const;
    bool tmux(const QStringList& command, QByteArray* output = nullptr) const;
    QStringList nodeWindows() const;

  private:
    QTemporaryDir dir_;
    QProcessEnvironment env_;
    QProcessEnvironment serverEnv_;
    quint16 port_ = 0;
    pid_t pid_ = -1;
};

// Admission takes one caller a second; a call inside that second is closed without a word.
constexpr int kAdmissionSpacingMs = 1200;

enum class Heard { Text, Silent, Failed };
// Reads until `wanted` has arrived, answering the server's telnet options with IAC DO ECHO at
// once so that its wait for the client ends there.
Heard readUntil(int fd, const QByteArray& wanted, bool answerOptions,
                Clock::time_point* answeredAt = nullptr);
bool waitFor(const std::function<bool()>& condition, int timeoutMs);
// A caller admitted by keldts who has heard `until`; -1 when none got there. `lastCall` keeps
// the calls a second apart and is moved on by each attempt. `seconds` and `options` take the
// time to `until` and to the telnet options.
int admittedCaller(quint16 port, Clock::time_point& lastCall, const QByteArray& until,
                   double* seconds = nullptr, double* options = nullptr, int* retries = nullptr);

} // namespace bench
