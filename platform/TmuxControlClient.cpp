#include "platform/TmuxControlClient.h"

#include <QProcess>
#include <QTimer>

#include <iterator>
#include <utility>

#include <unistd.h>

namespace {

// An answer this late means tmux is not answering at all (it takes well under a millisecond).
constexpr int kStalledMs = 500;
// How long leaving waits for a tmux that answers to act on its last words.
constexpr int kExitWaitMs = 1000;

// The tmux server is forked from its first client and keeps every descriptor it inherits for
// ever; marking them all close-on-exec in the child leaves it only the standard three.
void protectDescriptors(QProcess& process) {
    process.setChildProcessModifier([] { ::close_range(3, ~0U, CLOSE_RANGE_CLOEXEC); });
}

} // namespace

TmuxControlClient::TmuxControlClient(QStringList arguments, QList<QByteArray> setup,
                                     QObject* parent)
    : QObject(parent), arguments_(std::move(arguments)), setup_(std::move(setup)) {}

TmuxControlClient::~TmuxControlClient() {
    if (process_)
        leave({});
}

bool TmuxControlClient::answering() const {
    if (state_ == State::Attached)
        return written_.empty() || written_.front().sent.elapsed() < kStalledMs;
    return false;
}

qint64 TmuxControlClient::processId() const {
    return process_ ? process_->processId() : 0;
}

void TmuxControlClient::attach() {
    if (!process_)
        connectProcess();
}

void TmuxControlClient::command(const QByteArray& line, std::function<void(const Reply&)> done) {
    attach();
    queued_.push_back(Command{line, std::move(done), {}});
    if (state_ == State::Attached) {
        write(std::move(queued_.back()));
        queued_.pop_back();
    }
}

bool TmuxControlClient::waitFor(const std::function<bool()>& condition, int ms) {
    QElapsedTimer clock;
    clock.start();
    while (process_ && !condition() && clock.elapsed() < ms)
        process_->waitForReadyRead(static_cast<int>(ms - clock.elapsed()));
    return condition();
}

void TmuxControlClient::leave(const QByteArray& lastWords) {
    const bool listening = answering();
    QProcess* process = std::exchange(process_, nullptr);
    state_ = State::None;
    if (!process)
        return;
    disconnect(process, nullptr, this, nullptr);
    if (!lastWords.isEmpty() && listening) {
        process->write(lastWords + '\n');
        process->closeWriteChannel();
        if (process->waitForFinished(kExitWaitMs))
            return;
    }
    // Killing the client only detaches it; the windows stay.
    process->kill();
    process->waitForFinished(kExitWaitMs);
}

void TmuxControlClient::connectProcess() {
    state_ = State::Attaching;
    stream_ = TmuxControlStream();
    attachError_.clear();
    auto* process = new QProcess(this);
    process_ = process;
    protectDescriptors(*process);
    connect(process, &QProcess::readyReadStandardOutput, this, &TmuxControlClient::output);
    connect(process, &QProcess::finished, this, [this, process] { gone(process); });
    connect(process, &QProcess::errorOccurred, this, [this, process](QProcess::ProcessError e) {
        if (e == QProcess::FailedToStart) {
            attachError_ = process->errorString().toLocal8Bit();
            gone(process);
        }
    });
    process->start(QStringLiteral("tmux"), arguments_);
    for (const QByteArray& line : std::as_const(setup_))
        queued_.push_back(Command{line, {}, {}});
    emit attaching();
}

void TmuxControlClient::write(Command command) {
    // The client's input is a pipe that Qt writes as it drains: a tmux that reads nothing
    // fills our buffer, never stops us.
    process_->write(command.line + '\n');
    command.sent.start();
    written_.push_back(std::move(command));
}

void TmuxControlClient::output() {
    QProcess* process = process_;
    if (!process)
        return;
    for (const TmuxControlStream::Event& event : stream_.feed(process->readAllStandardOutput())) {
        if (process_ != process)
            return;
        if (const auto* notification = std::get_if<TmuxControlStream::Notification>(&event)) {
            emit notified(*notification);
            continue;
        }
        const Reply& reply = std::get<Reply>(event);
        if (state_ == State::Attaching) {
            // The client's own first answer: attached, or why not (it then ends).
            if (!reply.ok) {
                attachError_ = reply.lines.join(' ');
                continue;
            }
            state_ = State::Attached;
            while (!queued_.empty()) {
                write(std::move(queued_.front()));
                queued_.pop_front();
            }
            continue;
        }
        if (!reply.fromClient || written_.empty())
            continue;
        Command answered = std::move(written_.front());
        written_.pop_front();
        if (answered.done)
            answered.done(reply);
    }
}

void TmuxControlClient::gone(QProcess* process) {
    if (process_ != process)
        return;
    if (state_ == State::Attaching && attachError_.isEmpty())
        attachError_ = process->readAllStandardError().trimmed();
    process_ = nullptr;
    state_ = State::None;
    process->deleteLater();
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
