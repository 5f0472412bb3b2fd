#include "KeldtsRunner.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QTcpServer>
#include <QThread>

bool waitUntil(const std::function<bool()>& condition, int timeoutMs) {
    const QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QThread::msleep(20);
    }
    return true;
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

quint16 freePort() {
    QTcpServer probe;
    return probe.listen(QHostAddress::Any) ? probe.serverPort() : 0;
}

bool Caller::call(quint16 port, const char* address) {
    abort();
    seen.clear();
    closed = false;
    connectToHost(QHostAddress(QString::fromLatin1(address)), port);
    return waitForConnected(5000);
}

bool Caller::dial(quint16 port, const char* address) {
    return waitUntil(
        [&] { return call(port, address) && readUntil([&] { return !seen.isEmpty(); }, 5000); },
        15000);
}

bool Caller::readUntil(const std::function<bool()>& done, int timeoutMs) {
    const QDeadlineTimer deadline(timeoutMs);
    while (!done()) {
        if (state() != ConnectedState || deadline.hasExpired())
            return false;
        closed = !waitForReadyRead(20) && state() != ConnectedState;
        seen += readAll();
    }
    return true;
}

QByteArray answer(quint16 port, const char* address) {
    Caller caller;
    if (!caller.dial(port, address))
        return "(no answer)";
    return caller.waitForClose(15000) ? caller.seen : caller.seen + "(not closed)";
}

bool closedWithoutAWord(quint16 port) {
    Caller caller;
    return caller.call(port) && caller.waitForClose(15000) && caller.seen.isEmpty();
}

KeldtsSandbox::KeldtsSandbox() {
    QDir().mkdir(root() + "/xdg", QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

void KeldtsSandbox::prepare(QProcess& process, const QString& workingDir,
                            const QProcessEnvironment& session) const {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    // No display: the server has to come up headless whatever the test runner has.
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        env.remove(QString::fromLatin1(name));
    env.insert("XDG_RUNTIME_DIR", root() + "/xdg");
    env.insert(session);
    process.setProcessEnvironment(env);
    process.setWorkingDirectory(workingDir);
    process.setStandardInputFile(QProcess::nullDevice());
}

RunResult KeldtsSandbox::run(const QStringList& args, const QString& workingDir,
                             const QProcessEnvironment& session,
                             const std::function<void()>& inChild) const {
    QProcess process;
    prepare(process, workingDir.isEmpty() ? root() : workingDir, session);
    if (inChild)
        process.setChildProcessModifier(inChild);
    process.start(QStringLiteral(KELDTS_BINARY), args);
    if (!process.waitForFinished(30000))
        process.kill();
    process.waitForFinished();
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            process.readAllStandardOutput(), process.readAllStandardError()};
}

void KeldtsSandbox::writeBoard(bool withNodes) const {
    const RunResult r = run({"demo", boardDir(), "--port", QString::number(port_), "--no-run"});
    ASSERT_EQ(r.exitCode, 0) << r.out.toStdString() << r.err.toStdString();
    if (!withNodes)
        write("MAIN.CFG", QByteArray(2, '\0'), 210); // no telnet channel
}

bool KeldtsSandbox::startServer() {
    prepare(server, mainDir());
    server.setProcessChannelMode(QProcess::MergedChannels);
    server.setStandardOutputFile(root() + "/server.out");
    server.start(QStringLiteral(KELDTS_BINARY), {"--headless"});
    // The control socket answers only from the running event loop, after the load.
    if (waitUntil([this] { return !serverRunning() || ctl("status") == "online 1"; }, 30000) &&
        serverRunning())
        return true;
    ADD_FAILURE() << "server did not come up; its output:\n" << serverOutput().toStdString();
    return false;
}

bool KeldtsSandbox::serverRunning() {
    return server.state() != QProcess::NotRunning && !server.waitForFinished(0);
}

void KeldtsSandbox::endNodeWindows() const {
    const QDir host(runtimeDir() + "/host");
    for (const QString& socket : host.entryList({"tmux-*"}, QDir::System)) {
        QProcess tmux;
        tmux.start("tmux", {"-S", host.filePath(socket), "kill-server"});
        tmux.waitForFinished(5000);
    }
}

int KeldtsSandbox::stopServer(int signal, int timeoutMs) {
    if (serverRunning())
        ::kill(pid_t(server.processId()), signal);
    if (!server.waitForFinished(timeoutMs) && server.state() != QProcess::NotRunning) {
        server.kill();
        server.waitForFinished();
        return -1;
    }
    return server.exitStatus() == QProcess::NormalExit ? server.exitCode() : -1;
}

void KeldtsSandbox::write(const QString& name, const QByteArray& bytes, qint64 at) const {
    QFile file(path(name));
    ASSERT_TRUE(file.open(at < 0 ? QIODevice::WriteOnly : QIODevice::ReadWrite) &&
                file.seek(std::max<qint64>(at, 0)));
    ASSERT_EQ(file.write(bytes), bytes.size());
}

QStringList KeldtsSandbox::logEntries(bool withDrops) const {
    // The header and the stamp's form are the log's own tests' business; here, the time.
    QStringList lines = QString::fromLatin1(read("KELDTS.LOG")).split("\r\n");
    EXPECT_EQ(lines.takeLast(), QString()) << "last line not ended";
    const QDateTime earliest = created_.addMSecs(-created_.time().msec());
    QStringList entries;
    for (const QString& line : lines.mid(4)) {
        const QDateTime when = QDateTime::fromString(line.mid(4, 19), "yyyy-MM-dd HH:mm:ss");
        EXPECT_TRUE(when >= earliest && when <= QDateTime::currentDateTime().addSecs(1))
            << line.toStdString();
        if (withDrops || !line.mid(25).contains(kDropped))
            entries << line.mid(25);
    }
    return entries;
}
