#include "data/FileHelpers.h"

#include "platform/Wildcard.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace filehelpers {

namespace {

bool existsOfKind(const QString& rawPath, bool wantDirectory) {
    const QString path = rawPath.trimmed();
    if (path.isEmpty())
        return false;
    const QFileInfo info(path);
    if (!hasDosWildcard(info.fileName()))
        return info.exists() && info.isDir() == wantDirectory;
    const QDir dir = info.dir();
    const QDir::Filters kind = wantDirectory ? (QDir::Dirs | QDir::NoDotAndDotDot) : QDir::Files;
    for (const QFileInfo& entry : dir.entryInfoList(kind | QDir::Hidden | QDir::System)) {
        if (matchesDosWildcard(info.fileName(), entry.fileName()))
            return true;
    }
    return false;
}

} // namespace

bool dirExists(const QString& path) {
    return existsOfKind(path, true);
}

bool fileExists(const QString& path) {
    return existsOfKind(path, false);
}

Result<> touchFile(const QString& rawPath, bool overwrite) {
    const QString path = rawPath.trimmed();
    if (!overwrite && QFileInfo(path).isFile())
        return {};
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return Failure{QStringLiteral("Cannot create %1: %2").arg(path, file.errorString())};
    return {};
}

Result<> removeFile(const QString& path) {
    if (QFileInfo::exists(path) && !QFile::remove(path))
        return Failure{QStringLiteral("Cannot delete %1").arg(path)};
    return {};
}

Result<> moveFile(const QString& from, const QString& to) {
    if (!QFileInfo::exists(from))
        return {};
    if (Result<> removed = removeFile(to); !removed)
        return removed;
    if (!QFile::rename(from, to))
        return Failure{QStringLiteral("Cannot move %1 to %2").arg(from, to)};
    return {};
}

Result<> swapFiles(const QString& first, const QString& second, const QString& parking) {
    if (Result<> removed = removeFile(parking); !removed)
        return removed;
    for (const auto& [from, to] : {std::pair{first, parking}, {second, first}, {parking, second}}) {
        if (Result<> moved = moveFile(from, to); !moved)
            return moved;
    }
    return {};
}

} // namespace filehelpers
