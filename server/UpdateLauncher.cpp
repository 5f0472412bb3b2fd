#include "server/UpdateLauncher.h"

#include "data/Board.h"
#include "data/SystemConfig.h"
#include "server/BatchRunner.h"
#include "server/ProjectLinks.h"
#include "server/UpdateSchedule.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

QString UpdateLauncher::program() const {
    const QString setting = board_.platform.updater.trimmed();
    if (setting.isEmpty())
        return {};
    // A name with no directory is a program installed on this machine, as a shell finds it.
    if (!setting.contains(QLatin1Char('/')) && !setting.contains(QLatin1Char('\\')) &&
        !setting.contains(QLatin1Char(':')))
        return QStandardPaths::findExecutable(setting);
    const ResolvedPath path = resolveDosPath(board_.platform.drives, setting, QDir::currentPath());
    return path.ok() && QFileInfo(path.path).isFile() ? setting : QString();
}

void UpdateLauncher::checkTick() {
    const Record& cfg = board_.serverConfig;
    const QDateTime now = board_.clock.now();
    if (!updateCheckDue(cfg.i16("updatetype"), cfg.i16("updatefreq"), cfg.text("lastupdatecheck"),
                        now))
        return;
    // Nothing is noted while there is no program, so the check comes back every minute.
    if (!installed())
        return;
    board_.serverConfig.setText("lastupdatecheck", now.date().toString(QStringLiteral("yyMMdd")));
    saveServerConfig(board_);
    run({QStringLiteral("/QUIET"), QStringLiteral("/TYPE=%1").arg(cfg.i16("updatetype"))});
}

void UpdateLauncher::start(int type) {
    run({QStringLiteral("/TYPE=%1").arg(type)});
}

void UpdateLauncher::run(const QStringList& arguments) {
    // The updater brings its own window where it wants one, so it runs as a process of its own
    // rather than in the node host.
    const Result<> started = runner_.run(program(), arguments, BatchRunner::Style::Hidden);
    if (!started)
        logs_.reportError(started.error());
}

QString updaterMissingText() {
    return QStringLiteral("Kts Update is not installed.\r\nRe-install KELDTS using the setup "
                          "package, or\r\ndownload it at \"%1\"")
        .arg(QLatin1String(links::kDownload));
}
