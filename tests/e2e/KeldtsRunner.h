#pragma once

#include <QDateTime>
#include <QProcess>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <functional>

// The real keldts, from outside: each sandbox has its own board, session and port.

inline const QString kLoaded = "--- KELDTS v2.6.060524 Loaded";
inline const QString kBusy = "(0) Connection Refused (No Available Node) [127.0.0.1]";
inline const QString kDropped = QStringLiteral("Dropped [");
inline QByteArray refusalText(const char* why) {
    return "You have reached KELD Demo Board.\r\n" + QByteArray(why) +
           " Please try again later.\r\n";
}
inline const QByteArray kBusyText = refusalText("All nodes are currently busy.");

// Polls `condition` every few milliseconds until it holds or the deadline passes.
bool waitUntil(const std::function<bool()>& condition, int timeoutMs);
QByteArray readFile(const QString& path);
// A TCP port that nothing listens on right now.
quint16 freePort();

// A caller's end of one connection, up for as long as the test wants.
class Caller : public QTcpSocket {
  public:
    // `address` is IPv4 or IPv6 text.
    bool call(quint16 port, const char* address = "127.0.0.1");
    // Calls until the server says something: a call made while the admission lock is held, or
    // before the listener is up, is closed without a word and is simply made again.
    bool dial(quint16 port, const char* address = "127.0.0.1");
    bool send(const QByteArray& bytes) { return write(bytes) == bytes.size() && flush(); }
    // Reads until `text` has arrived; false when the server closed or the deadline passed.
    bool waitFor(const QByteArray& text, int timeoutMs = 10000) {
        return readUntil([&] { return seen.contains(text); }, timeoutMs);
    }
    bool waitForClose(int timeoutMs = 10000) {
        return !readUntil([] { return false; }, timeoutMs) && closed;
    }

    QByteArray seen;
    bool closed = false; // the server ended the stream (FIN or reset)

  private:
    bool readUntil(const std::function<bool()>& done, int timeoutMs);
};

// What the server says before it hangs up, dialled as above.
QByteArray answer(quint16 port, const char* address = "127.0.0.1");
bool closedWithoutAWord(quint16 port);

struct RunResult {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

class KeldtsSandbox {
    QTemporaryDir dir_;
    quint16 port_ = freePort();
    QDateTime created_ = QDateTime::currentDateTime();

  public:
    KeldtsSandbox();

    QString root() const { return dir_.path(); }
    QString boardDir() const { return root() + "/board"; }
    QString mainDir() const { return boardDir() + "/KELD"; }
    // The server's runtime directory, kept in the board.
    QString runtimeDir() const { return mainDir() + "/.keldts"; }
    QString path(const QString& name) const { return mainDir() + QLatin1Char('/') + name; }
    quint16 port() const { return port_; }

    // Runs keldts to its end in `workingDir` (the sandbox root when empty), with `session`'s
    // variables over the sandbox's own; `inChild` runs in the child before keldts does.
    RunResult run(const QStringList& args, const QString& workingDir = {},
                  const QProcessEnvironment& session = {},
                  const std::function<void()>& inChild = {}) const;
    QString ctl(const QString& command) const {
        return QString::fromUtf8(run({"ctl", command}, mainDir()).out).trimmed();
    }
    // The demo board. Without `withNodes` it has no telnet channel: every caller finds it busy.
    void writeBoard(bool withNodes = false) const;

    // Starts `keldts --headless` in the main directory and waits until it answers as online.
    bool startServer();
    QByteArray serverOutput() const { return readFile(root() + "/server.out"); }
    bool waitForOutput(const QByteArray& text, int timeoutMs = 15000) const {
        return waitUntil([&] { return serverOutput().contains(text); }, timeoutMs);
    }
    // Sends a signal (0: none) and waits for the end; returns the exit code, or -1 for a signal
    // death or a server that outlived the deadline (it is killed then).
    int stopServer(int signal, int timeoutMs = 20000);
    bool serverRunning();
    // Node windows outlive their server, as on a board, but not the test.
    void endNodeWindows() const;

    QByteArray read(const QString& name) const { return readFile(path(name)); }
    // The whole file, or the bytes from offset `at` on.
    void write(const QString& name, const QByteArray& bytes, qint64 at = -1) const;
    // KELDTS.LOG without the header and the time stamps, which must be from the sandbox's time.
    // The event log's entries without their time; the once-a-second count of connections
    // turned away before admission only when asked for.
    QStringList logEntries(bool withDrops = false) const;

    QProcess server; // after dir_, so that it ends before its directory goes

  private:
    void prepare(QProcess& process, const QString& workingDir,
                 const QProcessEnvironment& session = {}) const;
};

// A test on the demo board, its server stopped cleanly at the end.
class E2eTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_NO_FATAL_FAILURE(sandbox.writeBoard()); }
    void TearDown() override {
        if (sandbox.serverRunning()) {
            EXPECT_EQ(sandbox.stopServer(SIGTERM), 0) << sandbox.serverOutput().toStdString();
        }
        sandbox.endNodeWindows();
    }

    KeldtsSandbox sandbox;
};
