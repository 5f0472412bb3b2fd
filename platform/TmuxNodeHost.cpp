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
#include <utility>

#include <unistd.h>

namespace {

const QByteArray kSessionTarget = "=KELDTS";
const QString kPlaceholder = QStringLiteral("placeholder");
// The warm window's name: no node's title, so that a restarted server never takes it for one.
const QString kSpareTitle = QStringLiteral("spare");
constexpr int kStartTimeoutMs = 5000;
// tmux tells every change as it happens; the full list only catches a word that went missing.
constexpr int kFullListMs = 60 * 1000;

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

// The window that `new-window -P -F <TmuxWindows::kFormat>` made; none when it failed.
std::optional<NodeHost::Window> madeWindow(const TmuxControlStream::Reply& reply) {
    const QList<NodeHost::Window> made =
        reply.ok ? TmuxWindows::parse(reply.lines) : QList<NodeHost::Window>();
    return made.size() == 1 ? std::optional(made.first()) : std::nullopt;
}

} // namespace

struct TmuxNodeHost::Pending {
    Launch request;
    std::function<void(const Started&)> done;
    int socketFd = -1; // the caller's, until it is offered for the hand-over
    QTimer* timer = nullptr;
    qint64 handle = 0; // known once new-window answered
    bool handedOver = false;
    qint64 pid = 0;

    ~Pending() {
        if (socketFd >= 0)
            ::close(socketFd);
    }
};

namespace {

QString boardHash(const QString& mainDirectory) {
    const QByteArray board = QDir::cleanPath(QFileInfo(mainDirectory).absoluteFilePath()).toUtf8();
    return QString::fromLatin1(
        QCryptographicHash::hash(board, QCryptographicHash::Sha1).toHex().left(12));
}

// Ahead of anything else a client is asked: what every node window needs, and a fixed 80x25
// for the client so that it never resizes a node. A window-size of "manual" would crash tmux
// 3.3 on new-window while a client is attached; "smallest" keeps a sysop's bigger terminal from
// resizing the nodes.
const QList<QByteArray> kSetup{
    "set-option -g -w automatic-rename off", "set-option -g -w allow-rename off",
    "set-option -g -w remain-on-exit off",   "set-option -g -w window-size smallest",
    "set-option -g default-size 80x25",      "refresh-client -C 80x25"};

} // namespace

TmuxNodeHost::TmuxNodeHost(const QString& runtimeDirectory, const QString& mainDirectory,
                           const QString& nodeExec, QObject* parent)
    : QObject(parent), runtimeDirectory_(runtimeDirectory),
      tmuxSocket_(runtimeDirectory + QStringLiteral("/tmux-") + boardHash(mainDirectory)),
      handOverSocket_(runtimeDirectory + QStringLiteral("/handover-") + boardHash(mainDirectory)),
      nodeExec_(nodeExec.isEmpty()
                    ? QCoreApplication::applicationDirPath() + QStringLiteral("/keldts-node-exec")
                    : nodeExec),
      // The client makes the session, and with it the server, when there is none (first start,
      // or the tmux server was killed); the placeholder keeps both alive between nodes.
      control_(
          tmuxArguments({QStringLiteral("-C"), QStringLiteral("new-session"), QStringLiteral("-A"),
                         QStringLiteral("-s"), QString::fromLatin1(kSessionTarget.mid(1)),
                         QStringLiteral("-x"), QStringLiteral("80"), QStringLiteral("-y"),
                         QStringLiteral("25"), QStringLiteral("-n"), kPlaceholder,
                         QStringLiteral("-f"), QStringLiteral("no-output"), QStringLiteral("--"),
                         QStringLiteral("sleep"), QStringLiteral("infinity")}),
          kSetup) {
    // A new client knows nothing of what changed while there was none.
    connect(&control_, &TmuxControlClient::attaching, this, &TmuxNodeHost::listWindows);
    connect(&control_, &TmuxControlClient::notified, this, &TmuxNodeHost::notified);
}

TmuxNodeHost::~TmuxNodeHost() {
    const bool launching = !pending_.isEmpty();
    qDeleteAll(std::exchange(pending_, {}));
    // Node windows keep the tmux server for the next start to adopt; without them nothing is
    // worth leaving a process behind for. Batches still running keep it until they end: only
    // the placeholder goes then, and tmux leaves with the last batch. The spare goes by itself
    // once the hand-over socket closes. A tmux that does not answer is left as it is: waiting
    // for it could take for ever.
    const QList<Window>& all = windows_.all();
    const bool noNodes = windows_.known() && !launching &&
                         std::all_of(all.begin(), all.end(), [this](const Window& w) {
                             return w.title == kPlaceholder || w.title == kSpareTitle ||
                                    batchTitles_.contains(w.title);
                         });
    control_.leave(!noNodes ? QByteArray()
                   : batchTitles_.isEmpty()
                       ? QByteArray("kill-server")
                       : "kill-window -t " + kSessionTarget + ":" + kPlaceholder.toUtf8());
}

Result<> TmuxNodeHost::start() {
    if (!QDir().mkpath(runtimeDirectory_) ||
        !QFile::setPermissions(runtimeDirectory_, QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                      QFileDevice::ExeOwner))
        return Failure{QStringLiteral("Cannot create %1").arg(runtimeDirectory_)};
    if (!handOver_) {
        auto* server = new HandOverServer(this);
        if (Result<> listening = server->listen(handOverSocket_); !listening) {
            delete server;
            return listening;
        }
        handOver_ = server;
    }
    requestWindows();
    if (!control_.waitFor([this] { return windows_.known(); }, kStartTimeoutMs)) {
        const QByteArray why = control_.attachError();
        return Failure{QStringLiteral("Cannot start tmux on %1: %2")
                           .arg(tmuxSocket_, why.isEmpty() ? QStringLiteral("tmux did not answer")
                                                           : QString::fromLocal8Bit(why))};
    }
    makeSpare();
    return {};
}

QStringList TmuxNodeHost::tmuxArguments(const QStringList& command) const {
    return QStringList{QStringLiteral("-f"), QStringLiteral("/dev/null"), QStringLiteral("-S"),
                       tmuxSocket_} +
           command;
}

void TmuxNodeHost::requestWindows() {
    if (!control_.running())
        control_.attach(); // which lists the windows
    else if (!listed_.isValid() || listed_.elapsed() >= kFullListMs)
        listWindows();
}

void TmuxNodeHost::listWindows() {
    // One question at a time: a tmux that does not answer is not sent a pile of them.
    if (listing_) {
        listAgain_ = true;
        return;
    }
    listing_ = true;
    listed_.start();
    command("list-windows -t " + kSessionTarget + " -F " + word(TmuxWindows::kFormat),
            [this](const Reply& reply) {
                listing_ = false;
                if (reply.ok) {
                    windows_.replace(TmuxWindows::parse(reply.lines));
                    checkSpares();
                }
                // Asked of a client that has gone since: its successor is asked, if there is
                // one, and only then, so that a tmux that cannot start is not asked in a loop.
                if (std::exchange(listAgain_, false) && control_.running())
                    listWindows();
            });
}

void TmuxNodeHost::notified(const TmuxControlStream::Notification& notification) {
    const TmuxWindows::Follow follow = windows_.take(notification);
    switch (follow.kind) {
    case TmuxWindows::Follow::Kind::Describe:
        command("display-message -p -t " + windowTarget(follow.handle) + ' ' +
                    word(TmuxWindows::kFormat),
                [this](const Reply& reply) {
                    if (!reply.ok)
                        return; // gone again before tmux was asked
                    for (const Window& window : TmuxWindows::parse(reply.lines))
                        windows_.put(window);
                });
        break;
    case TmuxWindows::Follow::Kind::ListAll:
        listWindows();
        break;
    case TmuxWindows::Follow::Kind::Nothing:
        break;
    }
    checkSpares();
}

bool TmuxNodeHost::spareReady() const {
    return spare_ && spare_->handle > 0 && handOver_->waiting(spare_->token);
}

void TmuxNodeHost::makeSpare() {
    if (spare_ || !handOver_)
        return;
    const QByteArray token = newHandOverToken();
    handOver_->expect(token);
    spare_ = Spare{token, 0};
    command(newWindowLine(kSpareTitle, token), [this, token](const Reply& reply) {
        const std::optional<Window> made = madeWindow(reply);
        const bool ours = spare_ && spare_->token == token;
        if (made && ours) {
            spare_->handle = made->handle;
            windows_.put(*made);
            return;
        }
        if (made)
            return killWindow(made->handle);
        // No new spare until the next caller asks for one: a helper that cannot start would
        // otherwise have tmux make windows for ever.
        if (ours) {
            handOver_->cancel(token);
            spare_.reset();
        }
    });
}

void TmuxNodeHost::checkSpares() {
    // A spare whose window went (its helper failed, a sysop closed it) is no spare.
    if (spare_ && spare_->handle > 0 && !windows_.contains(spare_->handle)) {
        handOver_->cancel(spare_->token);
        spare_.reset();
    }
    // One left by an earlier run, or by one killed before its spare's helper noticed.
    QList<qint64> leftovers;
    for (const Window& window : windows_.all()) {
        if (window.title == kSpareTitle && (!spare_ || window.handle != spare_->handle))
            leftovers << window.handle;
    }
    for (const qint64 handle : leftovers)
        killWindow(handle);
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

    const bool warm = spare_ && windows_.contains(spare_->handle);
    const std::optional<Spare> spare = warm ? std::exchange(spare_, std::nullopt) : std::nullopt;
    const QByteArray token = spare ? spare->token : newHandOverToken();
    auto* pending = new Pending{request, std::move(done), request.socketFd};
    pending_.insert(token, pending);
    // Also what ends a launch that tmux never answers.
    pending->timer = new QTimer(this);
    pending->timer->setSingleShot(true);
    connect(pending->timer, &QTimer::timeout, this, [this, token] {
        fail(token, QStringLiteral("No hand-over within %1 ms").arg(handOverTimeoutMs_));
    });
    pending->timer->start(handOverTimeoutMs_);
    if (spare) {
        takeSpare(token, spare->handle);
    } else {
        offer(token);
        startNewWindow(token, false);
    }
}

void TmuxNodeHost::offer(const QByteArray& token) {
    Pending* pending = pending_.value(token);
    const Launch& request = pending->request;
    handover::Orders orders{request.targetFd, request.workingDirectory.toStdString(), {}};
    for (const QString& word : request.command)
        orders.command.push_back(word.toStdString());
    handOver_->offer(token, std::exchange(pending->socketFd, -1), orders,
                     [this, token](qint64 pid, const QString& error) {
                         if (!error.isEmpty())
                             return fail(token, error);
                         Pending* p = pending_.value(token);
                         if (!p)
                             return;
                         p->handedOver = true;
                         p->pid = pid;
                         settle(token);
                     });
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

QByteArray TmuxNodeHost::newWindowLine(const QString& title, const QByteArray& token) const {
    // The helper finds its node's directory in its orders; it starts where the server stands.
    QByteArray line = "new-window -d -P -F " + word(TmuxWindows::kFormat) + " -t " +
                      kSessionTarget + ": -n " + literalWord(title) + " -c " +
                      literalWord(QDir::currentPath());
    // A window gets the environment of the tmux server, which an earlier run may have started.
    const QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QString& name : environment.keys()) {
        if (!paneOwnsVariable(name))
            line += " -e " + word(name + QLatin1Char('=') + environment.value(name));
    }
    for (const QString& argument : {nodeExec_, QStringLiteral("--socket"), handOverSocket_,
                                    QStringLiteral("--token"), QString::fromLatin1(token)})
        line += ' ' + word(argument);
    return line;
}

void TmuxNodeHost::startNewWindow(const QByteArray& token, bool retried) {
    Pending* pending = pending_.value(token);
    if (!pending)
        return;
    command(newWindowLine(pending->request.title, token),
            [this, token, retried](const Reply& reply) {
                const std::optional<Window> made = madeWindow(reply);
                Pending* p = pending_.value(token);
                if (made) {
                    if (!p) {
                        // The launch was given up while tmux kept us waiting: its helper would find
                        // no caller to take.
                        killWindow(made->handle);
                        return;
                    }
                    windows_.put(*made);
                    p->handle = made->handle;
                    if (!p->handedOver)
                        p->pid = made->pid;
                    return settle(token);
                }
                if (!p)
                    return;
                if (retried)
                    return fail(token, QStringLiteral("tmux new-window failed: %1")
                                           .arg(QString::fromLocal8Bit(reply.lines.join(' '))));
                // The tmux server went (killed, or its last window closed) and took the client with
                // it: the next command's client makes the session again.
                startNewWindow(token, true);
            });
}

void TmuxNodeHost::takeSpare(const QByteArray& token, qint64 handle) {
    Pending* pending = pending_.value(token);
    pending->handle = handle;
    windows_.rename(handle, pending->request.title);
    // The caller goes in once tmux has renamed the window: a tmux that does not answer would not
    // read the node's terminal either, and a restart meanwhile finds the node by its title.
    command("rename-window -t " + windowTarget(handle) + ' ' + literalWord(pending->request.title),
            [this, token, handle](const Reply& reply) {
                Pending* p = pending_.value(token);
                if (!p)
                    return;
                offer(token);
                if (reply.ok)
                    return;
                // The spare went before tmux heard of its caller: a window is made for him.
                windows_.remove(handle);
                p->handle = 0;
                startNewWindow(token, false);
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
    // The next spare once this caller is in: tmux making it would only slow his node's start.
    makeSpare();
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
    makeSpare();
    done(Started{0, 0, error});
}

void TmuxNodeHost::killWindow(qint64 handle) {
    windows_.remove(handle);
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

Result<> TmuxNodeHost::sendKeys(qint64 handle, const QList<KeyStroke>& keys) {
    if (!isWindow(handle))
        return Failure{QStringLiteral("window @%1 is gone").arg(handle)};
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
    return {};
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

Result<QString> TmuxNodeHost::show(qint64 handle, Show how) {
    if (!isWindow(handle))
        return Failure{QStringLiteral("window @%1 is gone").arg(handle)};
    switch (how) {
    case Show::Minimized:
        // A tmux window is always there to be looked at; nothing opens by itself.
        return QString();
    case Show::Hidden:
        command("list-clients -F " + word(QByteArrayLiteral("#{client_pid} #{window_id} "
                                                            "#{client_name}")),
                [this, window = windowTarget(handle)](const Reply& reply) {
                    const QByteArray ourselves = QByteArray::number(control_.processId());
                    for (const QByteArray& line : reply.lines) {
                        const QList<QByteArray> fields = line.split(' ');
                        if (fields.size() == 3 && fields.at(1) == window &&
                            fields.at(0) != ourselves)
                            command("detach-client -t " + word(fields.at(2)));
                    }
                });
        return QString();
    case Show::Normal:
        break;
    }
    const QString attach = attachCommand(handle);
    if (viewer_.isEmpty())
        return QStringLiteral("to watch it: ") + attach;
    QString command = viewer_;
    if (command.contains(QLatin1String("{attach}")))
        command.replace(QLatin1String("{attach}"), attach);
    else
        command += QLatin1Char(' ') + attach;
    if (!QProcess::startDetached(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), command}))
        return Failure{QStringLiteral("the viewer could not be started: ") + command};
    return QStringLiteral("viewer started: ") + command;
}
