#include "server/LegacyFiles.h"

#include "platform/DosPath.h"
#include "platform/FileAccess.h"

#include <QFile>

namespace {

QString firstLineTrimmed(const QString& path) {
    const Result<QByteArray> text = fileaccess::readSmall(path, 4096);
    return text ? QString::fromLatin1(text.value().left(text.value().indexOf('\n'))).trimmed()
                : QString();
}

} // namespace

void removeLegacyFiles(const QString& directory) {
    const auto file = [&directory](const char* name) {
        return caseBlindPath(directory, QLatin1String(name));
    };
    if (!QFile::exists(file("KELD.EXE")))
        return;
    QFile::remove(file("KTSUP.CFG"));
    const QString oldConfig = file("KELDTS.CFG");
    if (firstLineTrimmed(oldConfig).mid(1, 2) == QLatin1String(":\\"))
        QFile::remove(oldConfig);
    const QString runThis = file("RUNTHIS.BAT");
    if (firstLineTrimmed(runThis) == QLatin1String("rem ------------------------------------"))
        QFile::remove(runThis);
    for (const char* name : {"KELDTS.DOC", "MSCOMCTL.OCX", "MSFLXGRD.OCX", "MSWINSCK.OCX"})
        QFile::remove(file(name));
}
