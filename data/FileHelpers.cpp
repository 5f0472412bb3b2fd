#include "data/FileHelpers.h"

#include "platform/FileAccess.h"
#include "platform/FileWrite.h"
#include "platform/Wildcard.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <unistd.h>

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
    const Result<int> opened =
        fileaccess::openRegular(path, O_WRONLY | O_CREAT | (overwrite ? O_TRUNC : 0));
    if (!opened)
        return failureOf(opened);
    if (::close(opened.value()) != 0)
        return filewrite::systemFailure(QStringLiteral("create"), path);
    return {};
}

Result<> removeFile(const QString& path) {
    if (QFileInfo::exists(path) && !QFile::remove(path))
        return Failure{QStringLiteral("Cannot delete %1").arg(path)};
    return {};
}

Result<std::optional<QByteArray>> contentsOf(const QString& path) {
    // Far beyond any bulletin or answer file; a bigger one is not this board's.
    constexpr qint64 kLargest = qint64(256) << 20;
    if (!QFileInfo::exists(path))
        return std::optional<QByteArray>();
    const Result<QByteArray> bytes = fileaccess::readSmall(path, kLargest + 1);
    if (!bytes)
        return failureOf(bytes);
    if (bytes->size() > kLargest)
        return Failure{QStringLiteral("%1 is too large to be moved").arg(path)};
    return std::optional(bytes.value());
}

} // namespace filehelpers
