#include "data/WaitingMail.h"

#include "data/Board.h"
#include "data/records/BoardFiles.h"

#include "platform/FileAccess.h"

#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <unistd.h>

template <typename T> MailField<T>::MailField(std::string_view name) {
    const Field* field = mailLayout().find(name);
    if (!field || field->width != int(sizeof(T)))
        qFatal("EMAIL.DAT has no field %.*s of that width", int(name.size()), name.data());
    offset_ = field->offset;
}

template class MailField<qint16>;
template class MailField<qint32>;

Result<> forEachMailRecord(const QString& path,
                           const std::function<bool(const char* record)>& visit) {
    // No file yet is no mail yet.
    if (!QFileInfo::exists(path))
        return {};
    const Result<int> opened = fileaccess::openRegular(path, O_RDONLY);
    if (!opened)
        return failureOf(opened);
    QFile file;
    const auto unreadable = [&] {
        return Failure{QStringLiteral("Cannot read %1: %2").arg(path, file.errorString())};
    };
    if (!file.open(opened.value(), QIODevice::ReadOnly, QFile::AutoCloseHandle)) {
        ::close(opened.value());
        return unreadable();
    }
    // One buffer, filled again and again: memory fresh from the system for a whole 30 MB file
    // costs far more than the reading.
    const int length = mailLayout().length;
    QByteArray buffer(qsizetype(length) * 256, Qt::Uninitialized);
    for (;;) {
        const qint64 got = file.read(buffer.data(), buffer.size());
        if (got < 0)
            return unreadable();
        for (qint64 at = 0; at + length <= got; at += length) {
            if (!visit(buffer.constData() + at))
                return {};
        }
        if (got < buffer.size())
            return {};
    }
}

Result<int> countWaitingMail(const Board& board, int user) {
    static const MailField<qint32> to("touser");
    static const MailField<qint16> state("mailstate");
    static const MailField<qint16> read("mailread");
    static const MailField<qint32> flag("mailflag");
    int count = 0;
    const Result<> walked = forEachMailRecord(board.path(mailLayout()), [&](const char* mail) {
        if (to.of(mail) == user && state.of(mail) == 1 && read.of(mail) == 0 && flag.of(mail) == 0)
            ++count;
        return true;
    });
    if (!walked)
        return failureOf(walked);
    return count;
}
