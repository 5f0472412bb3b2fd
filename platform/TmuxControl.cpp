#include "platform/TmuxControl.h"

#include <algorithm>
#include <utility>

QList<TmuxControlStream::Event> TmuxControlStream::feed(const QByteArray& bytes) {
    QList<Event> events;
    partial_ += bytes;
    qsizetype start = 0;
    for (qsizetype end; (end = partial_.indexOf('\n', start)) >= 0; start = end + 1)
        takeLine(partial_.mid(start, end - start), &events);
    partial_.remove(0, start);
    return events;
}

void TmuxControlStream::takeLine(const QByteArray& line, QList<Event>* events) {
    if (!blockTail_.isEmpty()) {
        // Only the line that repeats the %begin's time, number and flags ends the answer: a
        // command's own output may well hold "%end" (a window named so, a captured pane).
        const bool ended = line.startsWith("%end ") && line.mid(4) == blockTail_;
        const bool failed = line.startsWith("%error ") && line.mid(6) == blockTail_;
        if (!ended && !failed) {
            block_.lines << line;
            return;
        }
        block_.ok = ended;
        events->append(std::exchange(block_, Reply{}));
        blockTail_.clear();
        return;
    }
    if (line.startsWith("%begin ")) {
        blockTail_ = line.mid(6);
        const QList<QByteArray> fields = line.split(' ');
        block_.number = fields.value(2).toLongLong();
        block_.fromClient = (fields.value(3).toInt() & 1) != 0;
        return;
    }
    // Anything else outside an answer is a notification; a stray line is none of our business.
    if (!line.startsWith('%'))
        return;
    const qsizetype space = line.indexOf(' ');
    events->append(Notification{line.mid(1, space < 0 ? -1 : space - 1),
                                space < 0 ? QByteArray() : line.mid(space + 1)});
}

const QByteArray TmuxWindows::kFormat = "#{window_id} #{pane_pid} #{window_name}";

QList<TmuxWindows::Window> TmuxWindows::parse(const QList<QByteArray>& lines) {
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

namespace {

// "@17" → 17; 0 for anything else.
qint64 windowId(const QByteArray& word) {
    bool ok = false;
    const qint64 id = word.startsWith('@') ? word.mid(1).toLongLong(&ok) : 0;
    return ok && id > 0 ? id : 0;
}

} // namespace

TmuxWindows::Follow TmuxWindows::take(const TmuxControlStream::Notification& notification) {
    const QByteArray& name = notification.name;
    const QList<QByteArray> words = notification.arguments.split(' ');
    const qint64 handle = windowId(words.value(0));
    // tmux tells a window's leaving a session by whether it is still in the client's session
    // afterwards: "unlinked-window-close" is one of ours gone, "window-close" only another
    // session (a viewer's) letting go of a window that stays ours.
    if (name == "unlinked-window-close") {
        remove(handle);
    } else if (name == "window-renamed") {
        rename(handle, QString::fromUtf8(notification.arguments.mid(words.value(0).size() + 1)));
    } else if (name == "window-add") {
        // A viewer's session links every window of ours again; only a new one is worth a look.
        if (handle > 0 && !contains(handle))
            return Follow{Follow::Kind::Describe, handle};
    } else if (name == "session-changed") {
        // The client looks at another session now: what it knew belongs to the old one.
        return Follow{Follow::Kind::ListAll, 0};
    }
    return {};
}

void TmuxWindows::replace(QList<Window> windows) {
    windows_ = std::move(windows);
    known_ = true;
}

void TmuxWindows::put(const Window& window) {
    remove(window.handle);
    windows_.append(window);
}

void TmuxWindows::remove(qint64 handle) {
    windows_.removeIf([handle](const Window& w) { return w.handle == handle; });
}

void TmuxWindows::rename(qint64 handle, const QString& title) {
    for (Window& window : windows_) {
        if (window.handle == handle)
            window.title = title;
    }
}

bool TmuxWindows::contains(qint64 handle) const {
    return handle > 0 && std::any_of(windows_.begin(), windows_.end(),
                                     [handle](const Window& w) { return w.handle == handle; });
}

qint64 TmuxWindows::find(const QString& title) const {
    for (const Window& window : windows_) {
        if (window.title == title)
            return window.handle;
    }
    return 0;
}
