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

#include <algorithm>
#include <iterator>
#include <utility>

#include <unistd.h>

namespace {

const QByteArray kSessionTarget = "=KELDTS";
const QString kPlaceholder = QStringLiteral("placeholder");
const QByteArray kWindowFormat = "#{window_id} #{pane_pid} #{window_name}";
constexpr int kStartTimeoutMs = 5000;
// An answer this late means tmux is not answering at all (it takes well under a millisecond).
constexpr int kStalledMs = 500;
// How long leaving waits for a tmux that answers to end its server.
constexpr int kExitWaitMs = 1000;

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

// One word of a command line for tmux's own parser, which reads escapes, $VARIABLES and a
// leading ~ even between double quotes, and ends the command at a new line.
QByteArray word(const QByteArray& text) {
    QByteArray quoted = "\"";
    for (const char c : text) {
        if (c == '\n') {
            quoted += "\\n";
            continue;
        }
        if (c == '"' || c == '\\' || c == '$' || c == '~')
            quoted += '\\';
        quoted += c;
    }
    return quoted + '"';
}

QByteArray word(const QString& text) {
    return word(text.toUtf8());
}

// One word for an option that tmux expands as a format: window names and start directories,
// where #(...) would run a command and #S would name the session instead.
QByteArray literalWord(const QString& text) {
    return word(text.toUtf8().replace('#', "##"));
}

QByteArray windowTarget(qint64 handle) {
    return '@' + QByteArray::number(handle);
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
    const bool launching = !pending_.isEmpty();
    qDeleteAll(std::exchange(pending_, {}));
    QProcess* control = control_;
    if (!control)
        return;
    disconnect(control, nullptr, this, nullptr);
    // Node windows keep the tmux server for the next start to adopt; without them nothing is
    // worth leaving a process behind for. Batches still running keep it until they end: only
    // the placeholder goes then, and tmux leaves with the last batch. A tmux that does not
    // answer is left as it is: waiting for it could take for ever.
    const bool noNodes = windowsKnown_ && !launching &&
                         std::all_of(windows_.begin(), windows_.end(), [this](auto& w) {
                             return w.title == kPlaceholder || batchTitles_.contains(w.title);
                         });
    if (answering() && noNodes) {
        control->write(batchTitles_.isEmpty() ? QByteArray("kill-server\n")
                                              : "kill-window -t " + kSessionTarget + ":" +
                                                    kPlaceholder.toUtf8() + "\n");
        control->closeWriteChannel();
        if (control->waitForFinished(kExitWaitMs))
            return;
    }
    // Killing the client only detaches it; the nodes stay.
    control->kill();
    control->waitForFinished(kExitWaitMs);
}

bool TmuxNodeHost::answering() const {
    if (state_ == Control::Attached)
        return written_.empty() || written_.front().sent.elapsed() < kStalledMs;
    return false;
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
    requestWindows();
    QElapsedTimer clock;
    clock.start();
    while (control_ && !windowsKnown_ && clock.elapsed() < kStartTimeoutMs)
        control_->waitForReadyRead(static_cast<int>(kStartTimeoutMs - clock.elapsed()));
    if (windowsKnown_)
        return true;
    *error = QStringLiteral("Cannot start tmux on %1: %2")
                 .arg(tmuxSocket_, attachError_.isEmpty() ? QStringLiteral("tmux did not answer")
                                                          : QString::fromLocal8Bit(attachError_));
    return false;
}

QStringList TmuxNodeHost::tmuxArguments(const QStringList& command) const {
    return QStringList{QStringLiteral("-f"), QStringLiteral("/dev/null"), QStringLiteral("-S"),
                       tmuxSocket_} +
           command;
}

void TmuxNodeHost::connectControl() {
    if (control_)
        return;
    state_ = Control::Attaching;
    stream_ = TmuxControlStream();
    attachError_.clear();
    auto* control = new QProcess(this);
    control_ = control;
    protectDescriptors(*control);
    connect(control, &QProcess::readyReadStandardOutput, this, &TmuxNodeHost::controlOutput);
    connect(control, &QProcess::finished, this, [this, control] { controlGone(control); });
    connect(control, &QProcess::errorOccurred, this, [this, control](QProcess::ProcessError e) {
        if (e == QProcess::FailedToStart) {
            attachError_ = control->errorString().toLocal8Bit();
            controlGone(control);
        }
    });
    // The client makes the session, and with it the server, when there is none (first start,
    // or the tmux server was killed); the placeholder keeps both alive between nodes.
    control->start(
        QStringLiteral("tmux"),
        tmuxArguments({QStringLiteral("-C"), QStringLiteral("new-session"), QStringLiteral("-A"),
                       QStringLiteral("-s"), QString::fromLatin1(kSessionTarget.mid(1)),
                       QStringLiteral("-x"), QStringLiteral("80"), QStringLiteral("-y"),
                       QStringLiteral("25"), QStringLiteral("-n"), kPlaceholder,
                       QStringLiteral("-f"), QStringLiteral("no-output"), QStringLiteral("--"),
                       QStringLiteral("sleep"), QStringLiteral("infinity")}));
    // Ahead of anything else the client was asked: what every node window needs, and a fixed
    // 80x25 for the client so that it never resizes a node. A window-size of "manual" would
    // crash tmux 3.3 on new-window while a client is attached; "smallest" keeps a sysop's bigger
    // terminal from resizing the nodes.
    const QByteArray setup[] = {
        "set-option -g -w automatic-rename off", "set-option -g -w allow-rename off",
        "set-option -g -w remain-on-exit off",   "set-option -g -w window-size smallest",
        "set-option -g default-size 80x25",      "refresh-client -C 80x25"};
    for (auto it = std::rbegin(setup); it != std::rend(setup); ++it)
        queued_.push_front(Command{*it, {}, {}});
}

void TmuxNodeHost::command(const QByteArray& line, std::function<void(const Reply&)> done) {
    queued_.push_back(Command{line, std::move(done), {}});
    if (!control_)
        connectControl();
    else if (state_ == Control::Attached) {
        write(std::move(queued_.back()));
        queued_.pop_back();
    }
}

void TmuxNodeHost::write(Command command) {
    // The client's input is a pipe that Qt writes as it drains: a tmux that reads nothing
    // fills our buffer, never stops us.
    control_->write(command.line + '\n');
    command.sent.start();
    written_.push_back(std::move(command));
}

void TmuxNodeHost::controlOutput() {
    QProcess* control = control_;
    if (!control)
        return;
    for (const TmuxControlStream::Event& event : stream_.feed(control->readAllStandardOutput())) {
        if (control_ != control)
            return;
        if (const auto* reply = std::get_if<Reply>(&event)) {
            if (state_ == Control::Attaching) {
                // The client's own first answer: attached, or why not (it then ends).
                if (!reply->ok) {
                    attachError_ = reply->lines.join(' ');
                    continue;
                }
                state_ = Control::Attached;
                while (!queued_.empty()) {
                    write(std::move(queued_.front()));
                    queued_.pop_front();
                }
                continue;
            }
            if (!reply->fromClient || written_.empty())
                continue;
            Command answered = std::move(written_.front());
            written_.pop_front();
            if (answered.done)
                answered.done(*reply);
            continue;
        }
        // A window came or went somewhere: look again rather than guess. tmux names a close by
        // whether the window is still in the session, not by whether it is gone: a viewer's
        // session letting go of a node's window is a "window-close" too.
        const QByteArray& name = std::get<TmuxControlStream::Notification>(event).name;
        if (name.endsWith("window-add") || name.endsWith("window-close")) {
            if (listing_)
                listAgain_ = true;
            else
                requestWindows();
        }
    }
}

void TmuxNodeHost::controlGone(QProcess* control) {
    if (control_ != control)
        return;
    if (state_ == Control::Attaching && attachError_.isEmpty())
        attachError_ = control->readAllStandardError().trimmed();
    control_ = nullptr;
    state_ = Control::None;
    control->deleteLater();
    // What tmux last listed stays: a window taken for gone would have its node's files deleted,
    // and the next client that attaches lists them afresh.
    std::deque<Command> unanswered = std::move(written_);
    written_.clear();
    std::move(queued_.begin(), queued_.end(), std::back_inserter(unanswered));
    queued_.clear();
    Reply failed;
    failed.lines = {attachError_.isEmpty() ? QByteArray("tmux went away") : attachError_};
    // Later, not now: a failure may ask tmux again, and that starts a client.
    QTimer::singleShot(0, this, [unanswered = std::move(unanswered), failed] {
        for (const Command& command : unanswered) {
            if (command.done)
                command.done(failed);
        }
    });
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

void TmuxNodeHost::requestWindows() {
    // One question at a time: a tmux that does not answer is not sent a pile of them.
    if (listing_)
        return;
    listing_ = true;
    command("list-windows -t " + kSessionTarget + " -F " + word(kWindowFormat),
            [this](const Reply& reply) {
                listing_ = false;
                if (reply.ok) {
                    windows_ = parseWindows(reply.lines);
                    windowsKnown_ = true;
                }
                if (std::exchange(listAgain_, false))
                    requestWindows();
            });
}

qint64 TmuxNodeHost::findWindow(const QString& title) {
    for (const Window& window : std::as_const(windows_)) {
        if (window.title == title)
            return window.handle;
    }
    return 0;
}

bool TmuxNodeHost::isWindow(qint64 handle) {
    return handle > 0 && std::any_of(windows_.begin(), windows_.end(),
                                     [handle](const Window& w) { return w.handle == handle; });
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
    // Also what ends a launch that tmux never answers.
    pending->timer = new QTimer(this);
    pending->timer->setSingleShot(true);
    connect(pending->timer, &QTimer::timeout, this, [this, token] {
        fail(token, QStringLiteral("No hand-over within %1 ms").arg(handOverTimeoutMs_));
    });
    pending->timer->start(handOverTimeoutMs_);
    startNewWindow(token, false);
}

bool TmuxNodeHost::openWindow(const QString& title, const QStringList& program,
                              const QString& workingDirectory,
                              std::function<void(const QString& why)> failed) {
    if (!handOver_ || program.isEmpty())
        return false;
    batchTitles_.insert(title);
    QByteArray line = "new-window -d -t " + kSessionTarget + ": -n " + literalWord(title) + " -c " +
                      literalWord(workingDirectory) + " --";
    for (const QString& argument : program)
        line += ' ' + word(argument);
    command(line, [failed = std::move(failed)](const Reply& reply) {
        if (!reply.ok)
            failed(QString::fromLocal8Bit(reply.lines.join(' ')));
    });
    return true;
}

void TmuxNodeHost::startNewWindow(const QByteArray& token, bool retried) {
    Pending* pending = pending_.value(token);
    if (!pending)
        return;
    const Launch& request = pending->request;
    QByteArray line = "new-window -d -P -F " + word(QByteArrayLiteral("#{window_id} #{pane_pid}")) +
                      " -t " + kSessionTarget + ": -n " + literalWord(request.title) + " -c " +
                      literalWord(request.workingDirectory.isEmpty() ? QDir::currentPath()
                                                                     : request.workingDirectory);
    // A window gets the environment of the tmux server, which an earlier run may have started.
    const QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QString& name : environment.keys()) {
        if (!paneOwnsVariable(name))
            line += " -e " + word(name + QLatin1Char('=') + environment.value(name));
    }
    const QStringList helper{nodeExec_,
                             QStringLiteral("--socket"),
                             handOverSocket_,
                             QStringLiteral("--token"),
                             QString::fromLatin1(token),
                             QStringLiteral("--fd"),
                             QString::number(request.targetFd),
                             QStringLiteral("--")};
    line += " --";
    for (const QString& argument : helper + request.command)
        line += ' ' + word(argument);

    command(line, [this, token, retried](const Reply& reply) {
        const QList<QByteArray> fields = reply.lines.value(0).trimmed().split(' ');
        bool ok = reply.ok && fields.size() == 2 && fields.at(0).startsWith('@');
        const qint64 handle = ok ? fields.at(0).mid(1).toLongLong(&ok) : 0;
        Pending* p = pending_.value(token);
        if (ok && handle > 0) {
            if (!p) {
                // The launch was given up while tmux kept us waiting: its helper would find no
                // caller to take.
                killWindow(handle);
                return;
            }
            const qint64 pid = fields.at(1).toLongLong();
            windows_.removeIf([handle](const Window& w) { return w.handle == handle; });
            windows_.append(Window{handle, p->request.title, pid});
            p->handle = handle;
            if (!p->handedOver)
                p->pid = pid;
            return settle(token);
        }
        if (!p)
            return;
        if (retried)
            return fail(token, QStringLiteral("tmux new-window failed: %1")
                                   .arg(QString::fromLocal8Bit(reply.lines.join(' '))));
        // The tmux server went (killed, or its last window closed) and took the client with it:
        // the next command's client makes the session again.
        startNewWindow(token, true);
    });
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
    // A helper that never called in would otherwise sit in its window for ever.
    if (pending->handle > 0)
        killWindow(pending->handle);
    auto done = std::move(pending->done);
    delete pending;
    done(Started{0, 0, error});
}

void TmuxNodeHost::killWindow(qint64 handle) {
    windows_.removeIf([handle](const Window& w) { return w.handle == handle; });
    command("kill-window -t " + windowTarget(handle));
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
    if (!isWindow(handle)) {
        *why = QStringLiteral("window @%1 is gone").arg(handle);
        return false;
    }
    const QByteArray target = "send-keys -t " + windowTarget(handle);
    // Typed text goes as hex bytes, which tmux passes on exactly (CP437 included); named keys
    // by tmux's key names. Runs of text travel in one command; tmux keeps their order.
    QByteArray text;
    const auto flushText = [&] {
        if (!text.isEmpty())
            command(target + " -H" + std::exchange(text, {}));
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
        flushText();
        command(target + ' ' + name);
    }
    flushText();
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
        .arg(shellQuoted(tmuxSocket_), QString::fromLatin1(kSessionTarget))
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
    case Show::Hidden:
        command("list-clients -F " + word(QByteArrayLiteral("#{client_pid} #{window_id} "
                                                            "#{client_name}")),
                [this, window = windowTarget(handle)](const Reply& reply) {
                    const QByteArray ourselves =
                        control_ ? QByteArray::number(control_->processId()) : QByteArray();
                    for (const QByteArray& line : reply.lines) {
                        const QList<QByteArray> fields = line.split(' ');
                        if (fields.size() == 3 && fields.at(1) == window &&
                            fields.at(0) != ourselves)
                            command("detach-client -t " + word(fields.at(2)));
                    }
                });
        return true;
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
