#include "data/ScriptFiles.h"

#include "data/Board.h"
#include "data/FileHelpers.h"
#include "platform/DosPath.h"
#include "platform/FileWrite.h"

#include <QDir>
#include <QFileInfo>

namespace scriptfiles {

namespace {
QString directory(const Board& board) {
    return board.directoryPath("script");
}
} // namespace

QStringList list(const Board& board, const QString& extension) {
    QStringList names;
    const QFileInfoList files =
        QDir(directory(board)).entryInfoList(QDir::Files, QDir::Name | QDir::IgnoreCase);
    for (const QFileInfo& file : files) {
        if (file.suffix().compare(extension, Qt::CaseInsensitive) == 0 &&
            file.completeBaseName().size() > 0)
            names << file.fileName();
    }
    return names;
}

QString path(const Board& board, const QString& name) {
    return caseBlindPath(directory(board), name);
}

bool exists(const Board& board, const QString& name) {
    return QFileInfo(path(board, name)).isFile();
}

Result<> create(const Board& board, const QString& name) {
    return filewrite::replace(path(board, name), QByteArrayLiteral("\r\n"));
}

Result<> remove(const Board& board, const QString& name) {
    return filehelpers::removeFile(path(board, name));
}

} // namespace scriptfiles
