#include "data/WaitingMail.h"

#include "data/Board.h"
#include "data/records/BoardFiles.h"

#include <QFile>

bool forEachMailRecord(const QString& path, const std::function<bool(const Record&)>& visit) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray table = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return false;
    const RecordLayout& layout = mailLayout();
    for (qsizetype at = 0; at + layout.length <= table.size(); at += layout.length) {
        if (!visit(Record(layout, table, at)))
            break;
    }
    return true;
}

int countWaitingMail(const Board& board, int user) {
    int count = 0;
    forEachMailRecord(board.path(mailLayout()), [&](const Record& mail) {
        if (mail.i32("touser") == user && mail.i16("mailstate") == 1 && mail.i16("mailread") == 0 &&
            mail.i32("mailflag") == 0)
            ++count;
        return true;
    });
    return count;
}
