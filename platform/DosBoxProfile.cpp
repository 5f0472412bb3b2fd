#include "platform/DosBoxProfile.h"

namespace dosbox {

namespace {

// Devices a batch run has no use for are off, so that nothing waits for a sound card.
const char* const kQuiet = "[sdl]\n"
                           "fullscreen=false\n"
                           "[cpu]\n"
                           "cycles=max\n"
                           "[mixer]\n"
                           "nosound=true\n"
                           "[speaker]\n"
                           "pcspeaker=false\n"
                           "tandy=off\n"
                           "disney=false\n"
                           "[sblaster]\n"
                           "sbtype=none\n"
                           "[gus]\n"
                           "gus=false\n"
                           "[midi]\n"
                           "mpu401=none\n"
                           "mididevice=none\n";

bool hasDisplay() {
    return !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

} // namespace

QByteArray configuration(const DriveMap& drives, const QString& dosPath,
                         const QStringList& arguments) {
    QString path = dosPath.trimmed();
    QChar drive = QLatin1Char('C');
    if (path.size() >= 2 && path.at(1) == QLatin1Char(':')) {
        drive = path.at(0).toUpper();
        path = path.mid(2);
    }
    const qsizetype slash = path.lastIndexOf(QLatin1Char('\\'));
    const QString directory = slash > 0 ? path.left(slash) : QStringLiteral("\\");
    const QString program = path.mid(slash + 1);

    QString autoexec = QStringLiteral("[autoexec]\n");
    for (const QChar letter : drives.drives()) {
        QString where = drives.directoryOf(letter);
        if (!where.endsWith(QLatin1Char('/')))
            where += QLatin1Char('/');
        autoexec += QStringLiteral("MOUNT %1 \"%2\"\n").arg(letter, where);
    }
    autoexec += QStringLiteral("%1:\nCD %2\n").arg(drive, directory);
    const bool batch = program.endsWith(QLatin1String(".BAT"), Qt::CaseInsensitive);
    autoexec += (batch ? QStringLiteral("CALL ") : QString()) +
                QStringList(QStringList{program} + arguments).join(QLatin1Char(' ')) +
                QStringLiteral("\nEXIT\n");
    return QByteArray(kQuiet) + autoexec.toLocal8Bit();
}

QStringList command(const QString& configPath) {
    QStringList run{QStringLiteral("dosbox"), QStringLiteral("-conf"), configPath,
                    QStringLiteral("-noconsole")};
    if (hasDisplay())
        return run;
    return QStringList{QStringLiteral("env"), QStringLiteral("SDL_VIDEODRIVER=dummy"),
                       QStringLiteral("SDL_AUDIODRIVER=dummy")} +
           run;
}

} // namespace dosbox
