#include "platform/TmuxNodeHost.h"

#include "platform/Cp437.h"
#include "platform/SocketHandOver.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTimer>

#include <unistd.h>

namespace {

const QString kSession = QStringLiteral("KELDTS");
const QString kSessionTarget = QStringLiteral("=KELDTS");
const QString kPlaceholder = QStringLiteral("placeholder");
const QString kWindowFormat = QStringLiteral("#{window_id} #{pane_pid} #{window_name}");
constexpr int kStartTimeoutMs = 5000;
constexpr int kListTimeoutMs = 1000;
constexpr int kControlRetryMs = 1000;

// The tmux server is forked from its first client and keeps every descriptor it inherits for
// ever; marking them all close-on-exec in the child leaves it only the standard three.
void protectDescriptors(QProcess& process) {
    process.setChildProcessModifier([] { ::close_range(3, ~0U, CLOSE_RANGE_CLOEXEC); });
}

// Variables tmux sets for the pane itself; ours would describe the wrong terminal.
bool paneOwnsVariable(const QString& name) {
    return name == QLatin1String("TERM") || name == QLatin1String("TMUX") ||
           name == QLatin1String("TMUX_PANE") || name == QLatin1String("COLUMNS") ||
           name == QLatin1String("LINES");
}

} // namespace

struct TmuxNodeHost::Pending {
    Launch request;
    std::function<void(const Started&)> done;
    QTimer* timer = nullptr;
    qint64 handle = 0; // known once new-window answered
    bool handedOver = false;
    qint64 pid = 0;
};

TmuxNodeHost::TmuxNodeHost(const QString& runtimeDirectory, const QString& mainDirectory,
                           const QString& nodeExec, QObject* parent)
    : QObject(parent), runtimeDirectory_(runtimeDirectory),
      nodeExec_(nodeExec.isEmpty()
                    ? QCoreApplication::applicationDirPath() + QStringLiteral("/keldts-node-exec")
                    : nodeExec) {
    const QByteArray board = QDir::cleanPath(QFileInfo(mainDirectory).absoluteFilePath()).toUtf8();
    const QString hash = QString::fromLatin1(
        QCryptographicHash::hash(board, QCryptographicHash::Sha1).toHex().left(12));
    tmuxSocket_ = runtimeDirectory_ + QStringLiteral("/tmux-") + hash;
    handOverSocket_ = runtimeDirectory_ + QStringLiteral("/handover-") + hash;
}

TmuxNodeHost::~TmuxNodeHost() {
    for (Pending* pending : std::as_const(pending_))
        delete pending;
    // Node windows keep the tmux server for the next start to adopt; with the placeholder alone
    // nothing is worth leaving a process behind for.
    QByteArray names;
    const bool listed =
        runTmux({QStringLiteral("list-windows"), QStringLiteral("-t"), kSessionTarget,
                 QStringLiteral("-F"), QStringLiteral("#{window_name}")},
                &names, kListTimeoutMs);
    if (listed && names.trimmed() == kPlaceholder.toUtf8())
        runTmux({QStringLiteral("kill-server")}, &names, kListTimeoutMs);
    if (control_) {
        // Closing its input detaches the control client; the nodes stay.
        control_->closeWriteChannel();
        if (!control_->waitForFinished(500))
            control_->kill();
    }
    // A tmux command still on its way (a window being killed) is let finish, not killed.
    for (QProcess* process : findChildren<QProcess*>()) {
        if (process->state() != QProcess::NotRunning && !process->waitForFinished(1000)) {
            process->kill();
            process->waitForFinished(1000);
        }
    }
}

bool TmuxNodeHost::start(QString* error) {
    if (!QDir().mkpath(runtimeDirectory_) ||
        !QFile::setPermissions(runtimeDirectory_, QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                      QFileDevice::ExeOwner)) {
        *error = QStringLiteral("Cannot create %1").arg(runtimeDirectory_);
        return false;
    }
    if (!handOver_) {
        auto* server = new HandOverServer(this);
        if (!server->listen(handOverSocket_, error)) {
            delete server;
            return false;
        }
        handOver_ = server;
    }
    QByteArray output;
    const bool running =
        runTmux({QStringLiteral("has-session"), QStringLiteral("-t"), kSessionTarget}, &output,
                kStartTimeoutMs);
    QStringList setup = running ? QStringList() : sessionSetup() << QStringLiteral(";");
    setup << QStringLiteral("set-option") << QStringLiteral("-g") << QStringLiteral("-w")
          << QStringLiteral("automatic-rename") << QStringLiteral("off") << QStringLiteral(";")
          << QStringLiteral("set-option") << QStringLiteral("-g") << QStringLiteral("-w")
          << QStringLiteral("allow-rename") << QStringLiteral("off") << QStringLiteral(";")
          << QStringLiteral("set-option") << QStringLiteral("-g") << QStringLiteral("-w")
          << QStringLiteral("remain-on-exit") << QStringLiteral("off")
          << QStringLiteral(";")
          // "manual" crashes tmux 3.3 on new-window while a client is attached.
          << QStringLiteral("set-option") << QStringLiteral("-g") << QStringLiteral("-w")
          << QStringLiteral("window-size") << QStringLiteral("smallest") << QStringLiteral(";")
          << QStringLiteral("set-option") << QStringLiteral("-g") << QStringLiteral("default-size")
          << QStringLiteral("80x25");
    if (!runTmux(setup, &output, kStartTimeoutMs)) {
        *error = QStringLiteral("Cannot start tmux on %1: %2")
                     .arg(tmuxSocket_, QString::fromLocal8Bit(output).trimmed());
        return false;
    }
    ensureControlClient();
    return true;
}

QStringList TmuxNodeHost::tmuxArguments(const QStringList& command) const {
    return QStringList{QStringLiteral("-f"), QStringLiteral("/dev/null"), QStringLiteral("-S"),
                       tmuxSocket_} +
           command;
}

QStringList TmuxNodeHost::sessionSetup() const {
    // The placeholder keeps the session, and with it the server, alive between nodes.
    return {QStringLiteral("new-session"), QStringLiteral("-d"),
            QStringLiteral("-s"),          kSession,
            QStringLiteral("-x"),          QStringLiteral("80"),
            QStringLiteral("-y"),          QStringLiteral("25"),
            QStringLiteral("-n"),          kPlaceholder,
            QStringLiteral("--"),          QStringLiteral("sleep"),
            QStringLiteral("infinity")};
}

bool TmuxNodeHost::runTmux(const QStringList& command, QByteArray* output, int timeoutMs) const {
    QProcess process;
    protectDescriptors(process);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral("tmux"), tmuxArguments(command));
    if (!process.waitForStarted(timeoutMs)) {
        *output = process.errorString().toLocal8Bit();
        return false;
    }
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished(kListTimeoutMs);
        *output = "tmux did not answer";
        return false;
    }
    *output = process.readAll();
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

void TmuxNodeHost::launch(const Launch& request, std::function<void(const Started&)> done) {
    auto refuse = [this, &request, &done](const QString& why) {
        if (request.socketFd >= 0)
            ::close(request.socketFd);
        QTimer::singleShot(0, this, [done, why] { done(Started{0, 0, why}); });
    };
    if (!handOver_)
        return refuse(QStringLiteral("The tmux node host is not started"));
    if (request.command.isEmpty() || request.socketFd < 0 || request.targetFd <= 2)
        return refuse(QStringLiteral("Nothing to launch for %1").arg(request.title));

    const QByteArray token = newHandOverToken();
    auto* pending = new Pending{request, std::move(done)};
    pending_.insert(token, pending);
    handOver_->offer(token, request.socketFd, [this, token](qint64 pid, const QString& error) {
        if (!error.isEmpty())
            return fail(token, error);
        Pending* p = pending_.value(token);
        if (!p)
            return;
        p->handedOver = true;
        p->pid = pid;
        settle(token);
    });
    pending->timer = new QTimer(this);
    pending->timer->setSingleShot(true);
    connect(pending->timer, &QTimer::timeout, this, [this, token] {
        fail(token, QStringLiteral("No hand-over within %1 ms").arg(handOverTimeoutMs_));
    });
    pending->timer->start(handOverTimeoutMs_);
    startNewWindow(token, false);
}

void TmuxNodeHost::startNewWindow(const QByteArray& token, bool retried) {
    Pending* pending = pending_.value(token);
    if (!pending)
        return;
    const Launch& request = pending->request;
    QStringList command{QStringLiteral("new-window"),
                        QStringLiteral("-d"),
                        QStringLiteral("-P"),
                        QStringLiteral("-F"),
                        QStringLiteral("#{window_id} #{pane_pid}"),
                        QStringLiteral("-t"),
                        kSessionTarget + QLatin1Char(':'),
                        QStringLiteral("-n"),
                        request.title,
                        QStringLiteral("-c"),
                        request.workingDirectory.isEmpty() ? QDir::currentPath()
                                                           : request.workingDirectory};
    // A window gets the environment of the tmux server, which an earlier run may have started.
    const QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QString& name : environment.keys()) {
        if (!paneOwnsVariable(name))
            command << QStringLiteral("-e") << name + QLatin1Char('=') + environment.value(name);
    }
    command << QStringLiteral("--") << nodeExec_ << QStringLiteral("--socket") << handOverSocket_
            << QStringLiteral("--token") << QString::fromLatin1(token) << QStringLiteral("--fd")
            << QString::number(request.targetFd) << QStringLiteral("--") << request.command;

    auto* process = new QProcess(this);
    protectDescriptors(*process);
    connect(process, &QProcess::finished, this, [this, process, token, retried] {
        process->deleteLater();
        const QByteArray out = process->readAllStandardOutput().trimmed();
        const QByteArray err = process->readAllStandardError().trimmed();
        Pending* p = pending_.value(token);
        if (!p)
            return;
        const QList<QByteArray> fields = out.split(' ');
        bool ok = process->exitStatus() == QProcess::NormalExit && process->exitCode() == 0 &&
                  fields.size() == 2 && fields.at(0).startsWith('@');
        const qint64 handle = ok ? fields.at(0).mid(1).toLongLong(&ok) : 0;
        if (ok && handle > 0) {
            p->handle = handle;
            if (!p->handedOver)
                p->pid = fields.at(1).toLongLong();
            return settle(token);
        }
        if (retried)
            return fail(token, QStringLiteral("tmux new-window failed: %1")
                                   .arg(QString::fromLocal8Bit(err.isEmpty() ? out : err)));
        // The tmux server is gone (killed, or its last window closed): start it again.
        auto* setup = new QProcess(this);
        protectDescriptors(*setup);
        connect(setup, &QProcess::finished, this, [this, setup, token] {
            setup->deleteLater();
            startNewWindow(token, true);
        });
        connect(
            setup, &QProcess::errorOccurred, this, [this, setup, token](QProcess::ProcessError e) {
                if (e == QProcess::FailedToStart) {
                    setup->deleteLater();
                    fail(token, QStringLiteral("Cannot run tmux: %1").arg(setup->errorString()));
                }
            });
        setup->start(QStringLiteral("tmux"), tmuxArguments(sessionSetup()));
    });
    connect(process, &QProcess::errorOccurred, this,
            [this, process, token](QProcess::ProcessError e) {
                if (e == QProcess::FailedToStart) {
                    process->deleteLater();
                    fail(token, QStringLiteral("Cannot run tmux: %1").arg(process->errorString()));
                }
            });
    process->start(QStringLiteral("tmux"), tmuxArguments(command));
}

void TmuxNodeHost::settle(const QByteArray& token) {
    Pending* pending = pending_.value(token);
    if (!pending || !pending->handedOver || pending->handle == 0)
        return;
    pending_.remove(token);
    pending->timer->stop();
    pending->timer->deleteLater();
    const Started started{pending->handle, pending->pid, QString()};
    auto done = std::move(pending->done);
    delete pending;
    done(started);
}

void TmuxNodeHost::fail(const QByteArray& token, const QString& error) {
    Pending* pending = pending_.take(token);
    if (!pending)
        return;
    handOver_->cancel(token);
    pending->timer->stop();
    pending->timer->deleteLater();
    if (pending->handle > 0) {
        // A helper that never called in would otherwise sit in its window for ever.
        auto* kill = new QProcess(this);
        protectDescriptors(*kill);
        connect(kill, &QProcess::finished, kill, &QObject::deleteLater);
        kill->start(QStringLiteral("tmux"),
                    tmuxArguments({QStringLiteral("kill-window"), QStringLiteral("-t"),
                                   QLatin1Char('@') + QString::number(pending->handle)}));
    }
    auto done = std::move(pending->done);
    delete pending;
    done(Started{0, 0, error});
}

bool TmuxNodeHost::ensureControlClient() {
    if (control_ && control_->state() == QProcess::Running)
        return true;
    if (lastControlAttempt_.isValid() && lastControlAttempt_.elapsed() < kControlRetryMs)
        return false;
    lastControlAttempt_.start();
    if (control_) {
        control_->kill();
        control_->waitForFinished(kListTimeoutMs);
        delete control_;
        control_ = nullptr;
    }
    controlBuffer_.clear();
    control_ = new QProcess(this);
    protectDescriptors(*control_);
    control_->setStandardErrorFile(QProcess::nullDevice());
    // No pane output through this client, and a fixed 80x25 so that it never resizes a node.
    control_->start(
        QStringLiteral("tmux"),
        tmuxArguments({QStringLiteral("-C"), QStringLiteral("attach-session"), QStringLiteral("-t"),
                       kSessionTarget, QStringLiteral("-f"), QStringLiteral("no-output")}));
    if (!control_->waitForStarted(kListTimeoutMs) || !awaitAttached() ||
        !controlCommand("refresh-client -C 80x25")) {
        control_->kill();
        control_->waitForFinished(kListTimeoutMs);
        return false;
    }
    return true;
}

bool TmuxNodeHost::awaitAttached() {
    // Until its own first, empty reply the client is not attached, and a command that needs
    // the client (refresh-client) would fail with "no current client".
    QElapsedTimer clock;
    clock.start();
    for (;;) {
        controlBuffer_ += control_->readAllStandardOutput();
        if (controlBuffer_.startsWith("%end ") || controlBuffer_.contains("\n%end "))
            return true;
        const qint64 left = kListTimeoutMs - clock.elapsed();
        if (left <= 0 || controlBuffer_.contains("%exit") ||
            !control_->waitForReadyRead(static_cast<int>(left)))
            return false;
    }
}

std::optional<QList<QByteArray>> TmuxNodeHost::controlCommand(const QByteArray& command) {
    if (control_->write(command + '\n') < 0)
        return std::nullopt;
    QElapsedTimer clock;
    clock.start();
    for (;;) {
        controlBuffer_ += control_->readAllStandardOutput();
        // Replies come as %begin/%end blocks in order; everything between blocks is a
        // notification we do not need. Our own commands carry flag 1.
        for (;;) {
            const qsizetype firstEnd = controlBuffer_.indexOf('\n');
            if (firstEnd < 0)
                break;
            if (!controlBuffer_.startsWith("%begin ")) {
                controlBuffer_.remove(0, firstEnd + 1);
                continue;
            }
            const QByteArray tail = controlBuffer_.mid(6, firstEnd - 6);
            QList<QByteArray> lines;
            qsizetype at = firstEnd + 1;
            bool complete = false;
            bool failed = false;
            for (qsizetype end; (end = controlBuffer_.indexOf('\n', at)) >= 0;) {
                const QByteArray line = controlBuffer_.mid(at, end - at);
                at = end + 1;
                if (line == "%end" + tail || line == "%error" + tail) {
                    complete = true;
                    failed = line.startsWith("%error");
                    break;
                }
                lines << line;
            }
            if (!complete)
                break;
            controlBuffer_.remove(0, at);
            if (tail.endsWith(" 1"))
                return failed ? std::nullopt : std::optional(lines);
        }
        const qint64 left = kListTimeoutMs - clock.elapsed();
        if (left <= 0 || control_->state() != QProcess::Running ||
            !control_->waitForReadyRead(static_cast<int>(left))) {
            // Out of step with the client: a fresh one is safer than guessing.
            control_->kill();
            return std::nullopt;
        }
    }
}

QList<NodeHost::Window> TmuxNodeHost::parseWindows(const QList<QByteArray>& lines) {
    QList<Window> result;
    for (const QByteArray& line : lines) {
        const qsizetype first = line.indexOf(' ');
        const qsizetype second = first < 0 ? -1 : line.indexOf(' ', first + 1);
        if (second < 0 || !line.startsWith('@'))
            continue;
        Window window;
        bool ok = false;
        window.handle = line.mid(1, first - 1).toLongLong(&ok);
        if (!ok || window.handle <= 0)
            continue;
        window.pid = line.mid(first + 1, second - first - 1).toLongLong();
        window.title = QString::fromUtf8(line.mid(second + 1));
        result << window;
    }
    return result;
}

QList<NodeHost::Window> TmuxNodeHost::windows() {
    const QByteArray list =
        "list-windows -t " + kSessionTarget.toUtf8() + " -F \"" + kWindowFormat.toUtf8() + '"';
    if (ensureControlClient()) {
        if (const auto lines = controlCommand(list))
            return parseWindows(*lines);
    }
    QByteArray output;
    if (!runTmux({QStringLiteral("list-windows"), QStringLiteral("-t"), kSessionTarget,
                  QStringLiteral("-F"), kWindowFormat},
                 &output, kListTimeoutMs))
        return {};
    return parseWindows(output.split('\n'));
}

qint64 TmuxNodeHost::findWindow(const QString& title) {
    for (const Window& window : windows()) {
        if (window.title == title)
            return window.handle;
    }
    return 0;
}

bool TmuxNodeHost::isWindow(qint64 handle) {
    if (handle <= 0)
        return false;
    for (const Window& window : windows()) {
        if (window.handle == handle)
            return true;
    }
    return false;
}

namespace {

// tmux's name of a named key, with its modifiers; empty for keys a console has no use for.
QByteArray tmuxKeyName(const KeyStroke& k) {
    static const QHash<int, QByteArray> names{
        {8, "BSpace"}, {9, "Tab"},    {13, "Enter"}, {27, "Escape"}, {32, "Space"},
        {33, "PPage"}, {34, "NPage"}, {35, "End"},   {36, "Home"},   {37, "Left"},
        {38, "Up"},    {39, "Right"}, {40, "Down"},  {45, "IC"},     {46, "DC"}};
    QByteArray name = k.virtualKey >= 112 && k.virtualKey <= 123
                          ? "F" + QByteArray::number(k.virtualKey - 111)
                          : names.value(k.virtualKey);
    if (name.isEmpty())
        return {};
    return (k.shift ? "S-" : "") + QByteArray(k.control ? "C-" : "") + (k.alt ? "M-" : "") + name;
}

} // namespace

bool TmuxNodeHost::sendKeys(qint64 handle, const QList<KeyStroke>& keys, QString* why) {
    if (!isWindow(handle) || !ensureControlClient()) {
        *why = QStringLiteral("window @%1 is gone").arg(handle);
        return false;
    }
    const QByteArray target = "send-keys -t @" + QByteArray::number(handle);
    // Typed text goes as hex bytes, which tmux passes on exactly (CP437 included); named keys
    // by tmux's key names. Runs of text travel in one command.
    QByteArray text;
    const auto flushText = [&] {
        if (text.isEmpty())
            return true;
        const bool ok = controlCommand(target + " -H" + text).has_value();
        text.clear();
        return ok;
    };
    for (const KeyStroke& k : keys) {
        if (k.name.isEmpty()) {
            const QByteArray bytes = cp437::fromUnicode(QString(k.character));
            text += ' ' + bytes.toHex(' ');
            continue;
        }
        const QByteArray name = tmuxKeyName(k);
        if (name.isEmpty())
            continue;
        if (!flushText() || !controlCommand(target + ' ' + name)) {
            *why = QStringLiteral("tmux refused the keys");
            return false;
        }
    }
    if (!flushText()) {
        *why = QStringLiteral("tmux refused the keys");
        return false;
    }
    return true;
}

namespace {

QString shellQuoted(const QString& word) {
    QString quoted = word;
    quoted.replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

} // namespace

QString TmuxNodeHost::attachCommand(qint64 handle) const {
    return QStringLiteral("tmux -S %1 new-session -t %2 \\; set-option destroy-unattached on "
                          "\\; select-window -t @%3")
        .arg(shellQuoted(tmuxSocket_), kSessionTarget)
        .arg(handle);
}

bool TmuxNodeHost::show(qint64 handle, Show how, QString* note) {
    if (!isWindow(handle)) {
        *note = QStringLiteral("window @%1 is gone").arg(handle);
        return false;
    }
    switch (how) {
    case Show::Minimized:
        // A tmux window is always there to be looked at; nothing opens by itself.
        return true;
    case Show::Hidden: {
        if (!ensureControlClient()) {
            *note = QStringLiteral("tmux does not answer");
            return false;
        }
        const auto clients = controlCommand("list-clients -F '#{client_pid} #{window_id} "
                                            "#{client_name}'");
        if (!clients) {
            *note = QStringLiteral("tmux does not answer");
            return false;
        }
        const QByteArray window = '@' + QByteArray::number(handle);
        const QByteArray ourselves = QByteArray::number(control_->processId());
        for (const QByteArray& line : *clients) {
            const QList<QByteArray> fields = line.split(' ');
            if (fields.size() == 3 && fields.at(1) == window && fields.at(0) != ourselves)
                controlCommand("detach-client -t " + fields.at(2));
        }
        return true;
    }
    case Show::Normal:
        break;
    }
    const QString attach = attachCommand(handle);
    if (viewer_.isEmpty()) {
        *note = QStringLiteral("to watch it: ") + attach;
        return true;
    }
    QString command = viewer_;
    if (command.contains(QLatin1String("{attach}")))
        command.replace(QLatin1String("{attach}"), attach);
    else
        command += QLatin1Char(' ') + attach;
    if (!QProcess::startDetached(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), command})) {
        *note = QStringLiteral("the viewer could not be started: ") + command;
        return false;
    }
    *note = QStringLiteral("viewer started: ") + command;
    return true;
}
