#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QProcessEnvironment>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <sys/types.h>

// Drives the real keldts binary from the outside: a board, a private runtime directory and a
// free port per instance, so that tests can run side by side.

struct RunResult {
    int exitCode = -1;
    bool finished = false;
    QByteArray out;
    QByteArray err;
};

// What a telnet caller saw: the bytes up to the server's close.
struct CallResult {
    bool connected = false;
    bool closed = false; // the server ended the stream (FIN or reset) before the deadline
    QByteArray bytes;
};

class KeldtsSandbox {
  public:
    KeldtsSandbox();
    ~KeldtsSandbox();
    KeldtsSandbox(const KeldtsSandbox&) = delete;
    KeldtsSandbox& operator=(const KeldtsSandbox&) = delete;

    QString root() const { return dir_.path(); }
    QString boardDir() const { return root() + QStringLiteral("/board"); }
    QString mainDir() const { return boardDir() + QStringLiteral("/KELD"); }
    QString path(const QString& name) const { return mainDir() + QLatin1Char('/') + name; }
    quint16 port() const { return port_; }
    QProcessEnvironment environment() const;

    // Runs keldts to its end with the sandbox's environment.
    RunResult run(const QStringList& args, const QString& workingDir = {},
                  int timeoutMs = 30000) const;
    QString ctl(const QString& command) const;

    // `keldts demo <board> --port <port> --no-run`; fails the test when it does not work.
    // Without `withNodes` the board has no telnet channel, so no caller ever gets a node.
    void writeBoard(bool withNodes = false) const;
    // Sets netlowtime and nethightime of MAIN.CFG.
    void setNetTime(const QByteArray& low, const QByteArray& high) const;

    // Starts `keldts --headless` in the main directory and waits until it answers as online.
    bool startServer(QString* why);
    pid_t serverPid() const { return pid_; }
    QByteArray serverOutput() const;
    bool waitForOutput(const QByteArray& text, int timeoutMs = 15000) const;
    // Sends a signal and waits for the end; returns the exit code, or -1 for a signal death or
    // a server that outlived the deadline.
    int stopServer(int signal, int timeoutMs = 20000);
    // Waits for the server to end by itself.
    int waitServerExit(int timeoutMs = 20000);
    bool serverRunning();

    QByteArray read(const QString& name) const;
    void write(const QString& name, const QByteArray& bytes) const;
    // The entries of KELDTS.LOG with their time stamps taken off. Every line must carry a
    // well-formed stamp no older than `since`, or the test fails.
    QStringList logEntries(const QDateTime& since = {}) const;

  private:
    QTemporaryDir dir_;
    quint16 port_ = 0;
    pid_t pid_ = -1;
    int exitStatus_ = -1;
};

// A TCP port that nothing listens on right now.
quint16 freePort();

// One call to `address` (IPv4 or IPv6 text): connect, send `payload`, read until the server
// closes.
CallResult call(quint16 port, const QByteArray& payload = {}, int timeoutMs = 15000,
                const char* address = "127.0.0.1");
// Calls until the server says something: a call made while the admission lock is held, or
// before the listener is up, is closed without a word and is simply tried again.
CallResult callUntilAnswered(quint16 port, int timeoutMs = 15000,
                             const char* address = "127.0.0.1");

// Runs the system telnet client against the port, again while the server closes without a
// word, and returns what telnet printed of the server's words (after its "Escape character"
// line, before its closing notice).
QByteArray telnetUntilAnswered(quint16 port, int timeoutMs = 15000);
QByteArray telnetPayload(const QByteArray& telnetOutput);
// telnet ends each line it prints with LF alone where the network had CR LF.
QByteArray asTelnetPrints(QByteArray networkText);

// Polls `condition` every few milliseconds until it holds or the deadline passes.
bool waitUntil(const std::function<bool()>& condition, int timeoutMs);

QByteArray busyText();
QByteArray maintenanceText();
QByteArray netTrafficText();
