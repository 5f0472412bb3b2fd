#include "platform/TmuxControl.h"

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
