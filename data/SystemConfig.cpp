#include "data/SystemConfig.h"

#include "data/RecordFile.h"
#include "data/TimeRules.h"
#include "platform/DosPath.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace {

const QString kCannotLoad = QStringLiteral("Error While Loading KELDTS.CFG");

ConfigLoad fatal(const QString& text) {
    return {true, text, {}};
}

void applyDefault(Record& record, const ServerConfigDefault& d, const QDate& today) {
    const Field* f = record.layout().find(d.name);
    switch (f->type) {
    case FieldType::I16:
        record.setI16(d.name, static_cast<qint16>(d.number));
        break;
    case FieldType::I32:
        record.setI32(d.name, d.number);
        break;
    default:
        record.setStr(d.name, d.text == "today"
                                  ? today.toString(QStringLiteral("yyMMdd")).toLatin1()
                                  : QByteArray(d.text.data(), qsizetype(d.text.size())));
        break;
    }
}

// Steps that need the paths known: everything about KELDTS.CFG. Fails on a file error, which
// leaves the rest of the load undone, as the board always has. True when the file was made or
// completed.
Result<bool> loadServerConfig(Board& board) {
    const QDate today = board.clock.now().date();
    const QString path = board.path(serverConfigLayout());
    const bool made = !QFileInfo(path).isFile();
    if (made) {
        if (Result<> created = recordfile::write(path, 1, newServerConfig(today)); !created)
            return failureOf(created);
    }
    const Result<qint64> size = recordfile::size(path);
    if (!size)
        return failureOf(size);
    if (Result<> read = recordfile::read(path, 1, board.serverConfig); !read)
        return failureOf(read);
    const qint64 length = size.value();
    Record& cfg = board.serverConfig;
    for (const ServerConfigDefault& d : serverConfigDefaults()) {
        if (length >= d.threshold)
            continue;
        applyDefault(cfg, d, today);
        // An installation upgrading from an older file keeps its old node handling.
        if (d.name == "autoload" || d.name == "autoconfig")
            cfg.setI16(d.name, 0);
    }
    if (length >= cfg.layout().length)
        return made;
    if (Result<> completed = recordfile::write(path, 1, cfg); !completed)
        return failureOf(completed);
    return true;
}

// A MAIN.CFG shorter than its record reads as zeros where it ends, and a board with no active
// channels turns every caller away as busy; the sysop hears why, once for each new length.
void warnOfShortMainConfig(Board& board) {
    const Result<qint64> size = recordfile::size(board.path(mainConfigLayout()));
    const qint64 length = size.ok() ? size.value() : -1;
    if (length == board.shortMainConfigReported)
        return;
    board.shortMainConfigReported = length < mainConfigLayout().length ? length : -1;
    if (board.shortMainConfigReported < 0)
        return;
    board.logs.reportError(
        QStringLiteral("MAIN.CFG holds %1 bytes of its %2: what is missing reads "
                       "as zero (# Active Channels: %3)")
            .arg(length)
            .arg(mainConfigLayout().length)
            .arg(board.mainConfig.i16("maxchannelno")));
}

void correctServerConfig(Board& board) {
    Record& cfg = board.serverConfig;
    const QString title = QStringLiteral("KELDTS - Information");
    if (cfg.i16("startnode") < 1) {
        board.dialogs.message(title, QStringLiteral("Starting node is less than one!"),
                              MessageIcon::Information);
        cfg.setI16("startnode", 1);
    }
    if (cfg.i16("startnode") > 99) {
        board.dialogs.message(
            title,
            QStringLiteral("Starting node is greater than the maximum number of connections!"),
            MessageIcon::Information);
        cfg.setI16("startnode", 1);
    }
    if (cfg.i16("maxconnections") < 1)
        cfg.setI16("maxconnections", 1);
    const int start = cfg.i16("startnode");
    if (start + cfg.i16("maxconnections") - 1 > 100)
        cfg.setI16("maxconnections", static_cast<qint16>(100 - start + 1));
    const int channels = board.mainConfig.i16("maxchannelno");
    // A damaged MAIN.CFG can hold a large negative channel count; the result must stay at zero
    // or below, not wrap round to thousands of nodes.
    if (start + cfg.i16("maxconnections") - 1 > channels)
        cfg.setI16("maxconnections", static_cast<qint16>(std::max(channels - start + 1, -32768)));
    const qint32 logSize = cfg.i32("maxlogsize");
    if (logSize < 0)
        cfg.setI32("maxlogsize", 1048576);
    else if (logSize >= 1 && logSize <= 1023)
        cfg.setI32("maxlogsize", 1024);
    if (cfg.i16("netfosssleep") == 0)
        cfg.setI16("netfosssleep", 20);
    if (cfg.i16("netfossdelay") == 0)
        cfg.setI16("netfossdelay", 100);
    if (cfg.i16("netfossbuffer") == 0)
        cfg.setI16("netfossbuffer", 100);
}

} // namespace

Record newServerConfig(const QDate& today) {
    Record record(serverConfigLayout());
    for (const ServerConfigDefault& d : serverConfigDefaults())
        applyDefault(record, d, today);
    return record;
}

Result<> getMainConfig(const Board& board, Record& mainConfig) {
    if (Result<> read = recordfile::read(board.path(mainConfigLayout()), 1, mainConfig); !read)
        return read;
    mainConfig.setText("netlowtime", normalizeTime(mainConfig.text("netlowtime")));
    mainConfig.setText("nethightime", normalizeTime(mainConfig.text("nethightime")));
    return {};
}

Result<> setMainConfigText(Board& board, std::string_view field, const QString& value) {
    Record onDisk(mainConfigLayout());
    const QString path = board.path(mainConfigLayout());
    if (Result<> read = recordfile::read(path, 1, onDisk); !read)
        return read;
    onDisk.setText(field, value);
    if (Result<> written = recordfile::write(path, 1, onDisk); !written)
        return written;
    board.mainConfig.setText(field, value);
    return {};
}

Result<> getSysPaths(const Board& board, bool fromCurrentDirectory, Record& sysPaths) {
    const QString path = fromCurrentDirectory
                             ? caseBlindPath(QDir::currentPath(), sysPathsLayout().nameOf())
                             : board.path(sysPathsLayout());
    return recordfile::read(path, 1, sysPaths);
}

ConfigLoad loadSystemConfig(Board& board) {
    if (!board.platform.unreadable.isEmpty())
        return fatal(board.platform.unreadable);
    const QString sysPathsFile = caseBlindPath(QDir::currentPath(), sysPathsLayout().nameOf());
    if (!QFileInfo(sysPathsFile).isFile())
        return fatal(QStringLiteral(
            "Cannot find SYSPATHS.CFG! Make sure KELDTS is in your KELD main directory."));
    if (Result<> read = getSysPaths(board, true, board.sysPaths); !read)
        return fatal(read.error());
    board.sysPaths.setStr("main", board.sysPaths.str("main"));

    for (std::string_view field : sysPathDirectoryFields()) {
        const QString dosPath = board.sysPaths.text(field);
        if (dosPath.isEmpty())
            continue;
        const ResolvedPath resolved =
            resolveDosPath(board.platform.drives, dosPath, QDir::currentPath());
        if (!resolved.ok())
            return fatal(unmappedDriveMessage(resolved.unmappedDrive, dosPath) +
                         (board.platform.missing.isEmpty()
                              ? QString()
                              : QStringLiteral(" (") + board.platform.missing + QLatin1Char(')')));
    }

    const QString mainDos = board.sysPaths.text("main");
    const QString mainDir = board.directoryPath("main");
    if (mainDos.isEmpty() || !QFileInfo(mainDir).isDir())
        return fatal(
            mainDos +
            QStringLiteral(" is an invalid directory! Check your path settings in KConfig."));
    if (!QDir::setCurrent(mainDir))
        return fatal(
            mainDos +
            QStringLiteral(" is an invalid directory! Check your path settings in KConfig."));

    const QString missingMain = QStringLiteral("Cannot find ") + mainDos +
                                QStringLiteral("\\MAIN.CFG! Check your path settings in KConfig.");
    if (!QFileInfo(board.path(mainConfigLayout())).isFile())
        return fatal(missingMain);
    if (Result<> read = getMainConfig(board, board.mainConfig); !read)
        return fatal(missingMain + QStringLiteral(" (") + read.error() + QLatin1Char(')'));
    if (board.mainConfig.i16("maxchannelno") > 100)
        board.mainConfig.setI16("maxchannelno", 100);
    warnOfShortMainConfig(board);

    const Record before = board.serverConfig;
    const Result<bool> loaded = loadServerConfig(board);
    if (!loaded) {
        // Without its settings the server cannot even know its port: a start stops here, a
        // running server goes on with what it had.
        if (board.serverState == StateStarting)
            return fatal(kCannotLoad + QStringLiteral(": ") + loaded.error());
        board.serverConfig = before;
        board.logs.reportError(
            kCannotLoad +
            QStringLiteral(": %1; the settings in memory stay in force").arg(loaded.error()));
        return {};
    }
    correctServerConfig(board);
    ConfigLoad load;
    if (loaded.value())
        load.completed = board.path(serverConfigLayout());
    return load;
}

Result<> writeServerConfig(const Board& board, const Record& config) {
    if (!recordfile::write(board.path(serverConfigLayout()), 1, config).ok())
        return Failure{QStringLiteral("Error While Saving KELDTS.CFG")};
    return {};
}

void saveServerConfig(Board& board) {
    if (Result<> written = writeServerConfig(board, board.serverConfig); !written)
        board.logs.reportError(written.error());
}

void writeServerVersion(Board& board) {
    const QString path = board.path(serverDataLayout());
    Record data(serverDataLayout());
    const bool read = !QFileInfo::exists(path) || recordfile::read(path, 1, data).ok();
    data.setStr("serverversion", Board::kVersion);
    if (!read || !recordfile::write(path, 1, data).ok())
        board.logs.reportError(QStringLiteral("Error While Updating KTSDATA.DAT"));
}
