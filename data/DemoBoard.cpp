#include "data/DemoBoard.h"

#include "data/RecordFile.h"
#include "data/SettingsRecords.h"
#include "data/SystemConfig.h"
#include "platform/PlatformSettings.h"

#include <QDate>
#include <QDir>
#include <QFile>

namespace {

bool writeNew(const QString& path, const QByteArray& bytes, QString* error) {
    if (QFile::exists(path))
        return true;
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush()) {
        *error = QStringLiteral("Cannot write %1: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}

bool writeNewRecord(const QString& path, const Record& record, QString* error) {
    return QFile::exists(path) || recordfile::write(path, 1, record, error);
}

Record demoSysPaths() {
    Record paths(sysPathsLayout());
    paths.setStr("main", "C:\\KELD");
    paths.setStr("script", "C:\\KELD\\SCRIPT");
    paths.setStr("dat", "C:\\KELD\\DATA");
    paths.setStr("reservedpath", "C:\\KELD\\DATA");
    paths.setStr("txt", "C:\\KELD\\TEXT");
    paths.setStr("control", "C:\\KELD");
    paths.setStr("temp", "C:\\KELD\\TEMP");
    paths.setStr("db", "C:\\KELD\\DB");
    paths.setStr("sysop", "C:\\KELD\\SYSOP");
    paths.setStr("fdx", "C:\\KELD\\FDX");
    return paths;
}

Record demoMainConfig() {
    Record cfg(mainConfigLayout());
    cfg.setStr("bbsname", "KELD Demo Board");
    cfg.setStr("sysopname", "Demo SysOp");
    cfg.setI32("timeout", 300);
    cfg.setI16("maxchannelno", 4);
    cfg.setStr("netlowtime", "00:00");
    cfg.setStr("nethightime", "00:00");
    cfg.setStr("timezone", "UTC+0");
    cfg.setStr("wfcdrives", "C");
    cfg.setI16("newusersl", 10);
    cfg.setI16("newusertime", 60);
    cfg.setI16("allowhandle", 1);
    cfg.setI16("formatlevel", 2);
    cfg.setStr("qwkfilename", "KELD");
    cfg.setF32("fileratio", 0.0f);
    return cfg;
}

Record demoServerConfig(int port) {
    Record cfg = newServerConfig(QDate::currentDate());
    cfg.setI16("telnetport", static_cast<qint16>(port));
    cfg.setI16("maxconnections", 4);
    cfg.setI16("autoload", 0);
    cfg.setI16("pathwarned", 1);
    cfg.setI16("updatetype", 0);
    cfg.setI16("monitortimezone", 0);
    return cfg;
}

QByteArray loadBbsScript(const QString& program) {
    return QStringLiteral(
               "#!/bin/sh\n"
               "# Stands in for the DOS BBS on the demo board: node number, socket handle.\n"
               "exec \"%1\" demo-node \"$1\" \"$2\"\n")
        .arg(program)
        .toUtf8();
}

} // namespace

QString writeDemoBoard(const DemoBoardOptions& options, QString* error) {
    const QString root = QDir(options.directory).absolutePath();
    const QString main = root + QStringLiteral("/KELD");
    for (const char* sub : {"", "/SCRIPT", "/DATA", "/TEXT", "/TEMP", "/DB", "/SYSOP", "/FDX"}) {
        if (!QDir().mkpath(main + QLatin1String(sub))) {
            *error = QStringLiteral("Cannot create %1").arg(main + QLatin1String(sub));
            return {};
        }
    }
    const QByteArray netOnly = "This board is exchanging network mail right now.\r\n"
                               "Please call back in a little while.\r\n";
    const bool ok =
        writeNew(main + QStringLiteral("/KELDTS.INI"), platformSettingsText(root), error) &&
        writeNewRecord(main + QStringLiteral("/SYSPATHS.CFG"), demoSysPaths(), error) &&
        writeNewRecord(main + QStringLiteral("/MAIN.CFG"), demoMainConfig(), error) &&
        writeNewRecord(main + QStringLiteral("/KELDTS.CFG"), demoServerConfig(options.port),
                       error) &&
        writeNew(main + QStringLiteral("/TEXT/NETONLY.TXT"), netOnly, error) &&
        writeNew(main + QStringLiteral("/LOADBBS.BAT"), loadBbsScript(options.program), error);
    if (!ok)
        return {};
    QFile::setPermissions(main + QStringLiteral("/LOADBBS.BAT"),
                          QFile::permissions(main + QStringLiteral("/LOADBBS.BAT")) |
                              QFile::ExeOwner | QFile::ExeGroup | QFile::ExeOther);
    return main;
}
