#include "platform/DosPath.h"

#include <QDir>
#include <QFileInfo>

#include <dirent.h>
#include <sys/stat.h>

void DriveMap::map(QChar drive, const QString& directory) {
    drives_.insert(drive.toUpper(), QDir::cleanPath(directory));
}

bool DriveMap::isMapped(QChar drive) const {
    return drives_.contains(drive.toUpper());
}

QString DriveMap::directoryOf(QChar drive) const {
    return drives_.value(drive.toUpper());
}

namespace {

bool exists(const QString& path) {
    struct stat st {};
    return ::stat(QFile::encodeName(path).constData(), &st) == 0;
}

// The name of an entry of `directory` that equals `name` but for case, or `name` itself.
QString matchComponent(const QString& directory, const QString& name) {
    const QString direct = directory + QLatin1Char('/') + name;
    if (exists(direct))
        return name;
    DIR* dir = ::opendir(
        QFile::encodeName(directory.isEmpty() ? QStringLiteral("/") : directory).constData());
    if (!dir)
        return name;
    QString found = name;
    while (const dirent* entry = ::readdir(dir)) {
        const QString candidate = QFile::decodeName(entry->d_name);
        if (candidate.compare(name, Qt::CaseInsensitive) == 0) {
            found = candidate;
            break;
        }
    }
    ::closedir(dir);
    return found;
}

QString resolveComponents(QString root, const QStringList& components) {
    if (root.size() > 1 && root.endsWith(QLatin1Char('/')))
        root.chop(1);
    QString current = root;
    for (const QString& component : components) {
        if (component.isEmpty() || component == QLatin1String("."))
            continue;
        if (component == QLatin1String("..")) {
            current = QFileInfo(current).path();
            continue;
        }
        const QString parent = current == QLatin1String("/") ? QString() : current;
        current = parent + QLatin1Char('/') + matchComponent(parent, component);
    }
    return current.isEmpty() ? QStringLiteral("/") : current;
}

} // namespace

QString caseBlindPath(const QString& directory, const QString& name) {
    return resolveComponents(directory, {name});
}

ResolvedPath resolveDosPath(const DriveMap& drives, const QString& path, const QString& base) {
    const QString trimmed = path.trimmed();
    if (trimmed.startsWith(QLatin1Char('/')))
        return {resolveComponents(QStringLiteral("/"), trimmed.split(QLatin1Char('/'))), {}};

    QString rest = trimmed;
    QString root = base;
    if (rest.size() >= 2 && rest.at(1) == QLatin1Char(':') && rest.at(0).isLetter()) {
        const QChar drive = rest.at(0).toUpper();
        if (!drives.isMapped(drive))
            return {{}, drive};
        root = drives.directoryOf(drive);
        rest = rest.mid(2);
    } else if (rest.startsWith(QLatin1Char('\\'))) {
        // A path from the root of no named drive: DOS takes the current drive, and a board's
        // current drive is the one it was installed on, drive C unless the map says otherwise.
        if (!drives.isMapped(QLatin1Char('C')))
            return {{}, QLatin1Char('C')};
        root = drives.directoryOf(QLatin1Char('C'));
    }
    rest.replace(QLatin1Char('\\'), QLatin1Char('/'));
    return {resolveComponents(root, rest.split(QLatin1Char('/'))), {}};
}

QString unmappedDriveMessage(QChar drive, const QString& dosPath) {
    return QStringLiteral("Drive %1: of %2 is not mapped to a directory! Add the line "
                          "\"%1=/path/to/that/drive\" to the [Drives] section of KELDTS.INI.")
        .arg(drive.toUpper())
        .arg(dosPath.trimmed());
}

QString joinDosPath(const QString& directory, const QString& name) {
    return directory.trimmed() + QLatin1Char('\\') + name;
}

QString dosPathOf(const DriveMap& drives, const QString& native) {
    const QString path = QDir::cleanPath(native);
    QChar best;
    qsizetype bestLength = -1;
    for (char letter = 'A'; letter <= 'Z'; ++letter) {
        const QChar drive = QLatin1Char(letter);
        if (!drives.isMapped(drive))
            continue;
        const QString root = drives.directoryOf(drive);
        const QString prefix = root.endsWith(QLatin1Char('/')) ? root : root + QLatin1Char('/');
        if ((path == root || path.startsWith(prefix)) && root.size() > bestLength) {
            best = drive;
            bestLength = root.size();
        }
    }
    if (best.isNull())
        return {};
    QString rest = path.mid(bestLength);
    rest.replace(QLatin1Char('/'), QLatin1Char('\\'));
    if (!rest.startsWith(QLatin1Char('\\')))
        rest.prepend(QLatin1Char('\\'));
    return (QString(best) + QLatin1Char(':') + rest).toUpper();
}
