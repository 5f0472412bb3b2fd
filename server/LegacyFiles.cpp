#include "server/LegacyFiles.h"

#include <QDir>
#include <QFile>

namespace {

QString firstLineTrimmed(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromLatin1(file.readLine(4096)).trimmed();
}

} // namespace

void removeLegacyFiles(const QString& directory) {
    const QDir dir(directory);
    if (!QFile::exists(dir.filePath(QStringLiteral("KELD.EXE"))))
        return;
    QFile::remove(dir.filePath(QStringLiteral("KTSUP.CFG")));
    const QString oldConfig = dir.filePath(QStringLiteral("KELDTS.CFG"));
    if (firstLineTrimmed(oldConfig).mid(1, 2) == QLatin1String(":\\"))
        QFile::remove(oldConfig);
    const QString runThis = dir.filePath(QStringLiteral("RUNTHIS.BAT"));
    if (firstLineTrimmed(runThis) == QLatin1String("rem ------------------------------------"))
        QFile::remove(runThis);
    for (const char* name : {"KELDTS.DOC", "MSCOMCTL.OCX", "MSFLXGRD.OCX", "MSWINSCK.OCX"})
        QFile::remove(dir.filePath(QLatin1String(name)));
}
