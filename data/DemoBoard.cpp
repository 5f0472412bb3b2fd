#include "data/DemoBoard.h"

#include "data/PathDiagnostics.h"
#include "data/RecordFile.h"
#include "data/SettingsRecords.h"
#include "data/SystemConfig.h"
#include "platform/FileWrite.h"
#include "platform/PlatformSettings.h"

#include <QDate>
#include <QDir>
#include <QFile>

#include <functional>

namespace {

// Files the sysop already has are kept as they are.
Result<> writeNew(const QString& path, const QByteArray& bytes) {
    if (QFile::exists(path))
        return {};
    return filewrite::replace(path, bytes);
}

Result<> writeNewRecord(const QString& main, const Record& record) {
    const QString path = main + QLatin1Char('/') + record.layout().nameOf();
    if (QFile::exists(path))
        return {};
    return recordfile::write(path, 1, record);
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
    // The demo has no DOS programs to run daily maintenance or a toss with.
    cfg.setI16("dailymaint", 0);
    cfg.setI16("networktossing", 0);
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

Result<QString> writeDemoBoard(const DemoBoardOptions& options) {
    const QString root = QDir(options.directory).absolutePath();
    const QString main = root + QStringLiteral("/KELD");
    for (const char* sub : {"", "/SCRIPT", "/DATA", "/TEXT", "/TEMP", "/DB", "/SYSOP", "/FDX"}) {
        if (!QDir().mkpath(main + QLatin1String(sub)))
            return Failure{QStringLiteral("Cannot create %1").arg(main + QLatin1String(sub))};
    }
    const QByteArray netOnly = "This board is exchanging network mail right now.\r\n"
                               "Please call back in a little while.\r\n";
    const QString loadBbs = main + QStringLiteral("/LOADBBS.BAT");
    const std::function<Result<>()> steps[] = {
        [&] { return writeNew(main + QStringLiteral("/KELDTS.INI"), platformSettingsText(root)); },
        [&] { return writeNewRecord(main, demoSysPaths()); },
        [&] { return writeNewRecord(main, demoMainConfig()); },
        [&] { return writeNewRecord(main, demoServerConfig(options.port)); },
        [&] { return writeNew(main + QStringLiteral("/TEXT/NETONLY.TXT"), netOnly); },
        [&] { return writeNew(main + QStringLiteral("/COLOR.CFG"), stockColorConfig()); },
        [&] { return writeNew(loadBbs, loadBbsScript(options.program)); },
    };
    for (const auto& step : steps) {
        if (Result<> written = step(); !written)
            return failureOf(written);
    }
    if (!QFile::setPermissions(loadBbs, QFile::permissions(loadBbs) | QFile::ExeOwner |
                                            QFile::ExeGroup | QFile::ExeOther))
        return Failure{QStringLiteral("Cannot make %1 executable").arg(loadBbs)};
    return main;
}
