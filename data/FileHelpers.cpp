#include "data/FileHelpers.h"

#include "platform/Wildcard.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
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

bool touchFile(const QString& rawPath, bool overwrite) {
    const QString path = rawPath.trimmed();
    if (!overwrite && QFileInfo(path).isFile())
        return true;
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate);
}

bool writeTextFile(const QString& path, const QString& text) {
    QFile file(path.trimmed());
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return true;
    const QByteArray bytes = trimmed.toLatin1() + "\r\n";
    return file.write(bytes) == bytes.size() && file.flush();
}

bool isFileLocked(const QString& rawPath, const QString& rawMode) {
    const QString path = rawPath.trimmed();
    if (!QFileInfo::exists(path))
        return false;
    const QString mode = rawMode.trimmed().toUpper();
    const int access = mode == QLatin1String("READ")    ? O_RDONLY
                       : mode == QLatin1String("WRITE") ? O_WRONLY
                                                        : O_RDWR;
    const int fd = ::open(QFile::encodeName(path).constData(), access | O_CLOEXEC);
    if (fd < 0)
        return true;
    // Linux has no share modes; the nearest thing is a record lock that another program holds.
    struct flock probe {};
    probe.l_type = access == O_RDONLY ? F_RDLCK : F_WRLCK;
    probe.l_whence = SEEK_SET;
    const bool locked = ::fcntl(fd, F_GETLK, &probe) == 0 && probe.l_type != F_UNLCK;
    ::close(fd);
    return locked;
}

QString getKeyValue(const QString& key, const QString& path) {
    const QString wanted = key.trimmed();
    if (wanted.isEmpty() || path.trimmed().isEmpty())
        return {};
    QFile file(path.trimmed());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    while (!file.atEnd()) {
        QString line = QString::fromLatin1(file.readLine(65536));
        while (line.endsWith(QLatin1Char('\n')) || line.endsWith(QLatin1Char('\r')))
            line.chop(1);
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        if (eq >= 0 && line.left(eq).trimmed().compare(wanted, Qt::CaseInsensitive) == 0)
            return line.mid(eq + 1);
    }
    return {};
}

QByteArray readWholeFile(const QString& path) {
    QFile file(path.trimmed());
    if (!file.open(QIODevice::ReadWrite))
        return {};
    const QByteArray bytes = file.readAll();
    const qsizetype nul = bytes.indexOf('\0');
    return nul < 0 ? bytes : bytes.left(nul);
}

QString longPath(const QString& path) {
    const QString trimmed = QDir::cleanPath(path.trimmed());
    if (trimmed.isEmpty())
        return {};
    QString built = trimmed.startsWith(QLatin1Char('/')) ? QStringLiteral("/") : QString();
    for (const QString& component : trimmed.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        const QDir dir(built.isEmpty() ? QStringLiteral(".") : built);
        QString found;
        for (const QString& entry : dir.entryList(QDir::AllEntries | QDir::Hidden | QDir::System)) {
            if (entry.compare(component, Qt::CaseInsensitive) == 0) {
                found = entry;
                break;
            }
        }
        if (found.isEmpty())
            return {};
        built = built.isEmpty() || built.endsWith(QLatin1Char('/'))
                    ? built + found
                    : built + QLatin1Char('/') + found;
    }
    return built;
}

namespace {

bool isDosNameChar(QChar c) {
    return (c.unicode() < 128 && c.isLetterOrNumber()) ||
           QStringLiteral("!#$%&'()-@^_`{}~").contains(c);
}

QString shortComponent(const QString& name) {
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    QString base = dot <= 0 ? name : name.left(dot);
    QString ext = dot <= 0 ? QString() : name.mid(dot + 1);
    const auto clean = [](const QString& text) {
        QString out;
        for (QChar c : text.toUpper()) {
            if (isDosNameChar(c))
                out.append(c);
        }
        return out;
    };
    const QString cleanBase = clean(base);
    const QString cleanExt = clean(ext);
    const bool fits = cleanBase == base.toUpper() && cleanExt == ext.toUpper() && !base.isEmpty() &&
                      base.size() <= 8 && ext.size() <= 3;
    if (fits)
        return ext.isEmpty() ? cleanBase : cleanBase + QLatin1Char('.') + cleanExt;
    const QString stem = cleanBase.left(6) + QStringLiteral("~1");
    return cleanExt.isEmpty() ? stem : stem + QLatin1Char('.') + cleanExt.left(3);
}

} // namespace

QString shortPath(const DriveMap& drives, const QString& path) {
    const QString native = QDir::cleanPath(path.trimmed());
    for (QChar drive = QLatin1Char('A'); drive <= QLatin1Char('Z');
         drive = QChar(drive.unicode() + 1)) {
        if (!drives.isMapped(drive))
            continue;
        const QString root = drives.directoryOf(drive);
        if (native != root && !native.startsWith(root + QLatin1Char('/')))
            continue;
        QString dos = QString(drive) + QLatin1Char(':');
        for (const QString& component :
             native.mid(root.size()).split(QLatin1Char('/'), Qt::SkipEmptyParts))
            dos += QLatin1Char('\\') + shortComponent(component);
        return native == root ? dos + QLatin1Char('\\') : dos;
    }
    return path;
}

bool writeAll(int fd, const QByteArray& bytes) {
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t n =
            ::write(fd, bytes.constData() + done, static_cast<size_t>(bytes.size() - done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += n;
    }
    return true;
}

} // namespace filehelpers
