#include "data/DosReach.h"

#include "data/Board.h"
#include "data/SystemConfig.h"
#include "platform/DosPath.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace {

QString driveLine(const Board& board, const QString& mainDirectory, bool* found) {
    *found = false;
    const QString main = mainDirectory.trimmed().toUpper();
    const ResolvedPath native = resolveDosPath(board.platform.drives, main, QDir::currentPath());
    if (!native.ok())
        return QStringLiteral("Main directory %1: drive %2: is not mapped in [Drives] of "
                              "KELDTS.INI.")
            .arg(main, QString(native.unmappedDrive.toUpper()));
    const QString directory = QDir::cleanPath(native.path);
    const QString dosPath = dosPathOf(board.platform.drives, directory);
    if (dosPath.isEmpty())
        return QStringLiteral("Main directory %1 is on no drive of [Drives] in KELDTS.INI.")
            .arg(directory);
    const QChar drive = dosPath.at(0);
    *found = true;
    return QStringLiteral("Main directory %1 is %2: drive %3: is %4 in [Drives] of KELDTS.INI.")
        .arg(directory, dosPath, QString(drive), board.platform.drives.directoryOf(drive));
}

// The program of the runner's command line: a path as it is, a bare name on the search path.
QString runnerLine(const QString& runner, bool* found) {
    *found = false;
    if (runner.isEmpty())
        return QStringLiteral("DOS runner: none, [Dos] run= of KELDTS.INI is empty.");
    const QString program = runner.section(QLatin1Char(' '), 0, 0, QString::SectionSkipEmpty);
    if (program.contains(QLatin1Char('/'))) {
        *found = QFileInfo(program).isExecutable() && QFileInfo(program).isFile();
        return *found
                   ? QStringLiteral("DOS runner: run=%1, and %2 is a program.").arg(runner, program)
                   : QStringLiteral("DOS runner: run=%1, but %2 is no program.")
                         .arg(runner, program);
    }
    const QString where = QStandardPaths::findExecutable(program);
    *found = !where.isEmpty();
    return *found ? QStringLiteral("DOS runner: run=%1, and %2 is %3.").arg(runner, program, where)
                  : QStringLiteral("DOS runner: run=%1, but %2 is not on the search path (PATH).")
                        .arg(runner, program);
}

const char* const kDirections[] = {
    "To make your KELD directory reachable, follow the directions below:",
    "",
    "Drive map:",
    "  1. Open KELDTS.INI in the directory KELDTS is started in.",
    "  2. Under [Drives], add a line that gives a drive letter the directory that",
    "     holds your main KELD directory (e.g.: C=/srv/keld, for C:\\KELD).",
    "  3. Enter the main directory by its drive letter in Paths Configuration.",
    "",
    "DOS runner:",
    "  1. Install DOSBox (e.g.: apt install dosbox).",
    "  2. Under [Dos] in KELDTS.INI, enter run=dosbox, or a command line of your",
    "     own with {batch}, {node} and {fd} (e.g.: run=dosemu -E {batch}).",
    "  3. Restart KELDTS.",
};

} // namespace

DosReach checkDosReach(const Board& board, const QString& mainDirectory) {
    DosReach reach;
    bool drive = false;
    bool runner = false;
    reach.checked << driveLine(board, mainDirectory, &drive)
                  << runnerLine(board.platform.dosRun.trimmed(), &runner);
    reach.reachable = drive && runner;
    return reach;
}

QString pathWarningText(const DosReach& reach) {
    QStringList lines{
        QStringLiteral("Your KELD directory cannot be reached by the board's DOS programs."),
        QString(),
        QStringLiteral("It is highly recommended that you make it reachable to ensure"),
        QStringLiteral("the least amount of problems. This message will only be shown once."),
        QString(),
        QStringLiteral("What was checked:"),
    };
    for (const QString& line : reach.checked)
        lines << QStringLiteral("  ") + line;
    lines << QString();
    for (const char* line : kDirections)
        lines << QLatin1String(line);
    return lines.join(QStringLiteral("\r\n"));
}

void showPathWarning(Board& board,
                     const std::function<void(const QString&, const QString&)>& show) {
    const DosReach reach = checkDosReach(board, board.sysPaths.text("main"));
    if (reach.reachable)
        return;
    show(QStringLiteral("KELD - Path Information"), pathWarningText(reach));
    board.serverConfig.setI16("pathwarned", 1);
    saveServerConfig(board);
}
