#include "data/SettingsSources.h"

#include "data/Board.h"
#include "data/FileHelpers.h"
#include "data/RecordFile.h"
#include "data/SystemConfig.h"
#include "data/records/BoardFiles.h"

#include <QDir>

namespace {

constexpr qint16 kMostConnections = 100;
constexpr qint16 kMostChannels = 100;
constexpr qint16 kFormatLevel = 2;

// A settings file that could not be written: both sinks hear of it, the form says it.
Failure unsaved(Board& board, const QString& text) {
    board.logs.reportError(text);
    return {text};
}

void capAt(Record& record, std::string_view field, qint16 most) {
    if (record.i16(field) > most)
        record.setI16(field, most);
}

} // namespace

Result<Record> ServerConfigSource::load() {
    return board_.serverConfig;
}

Result<> ServerConfigSource::save(const Edit& edit) {
    Result<Record> edited = edit(board_.serverConfig);
    if (!edited)
        return failureOf(edited);
    capAt(edited.value(), "maxconnections", kMostConnections);
    if (Result<> written = writeServerConfig(board_, edited.value()); !written)
        return unsaved(board_, written.error());
    board_.serverConfig = edited.value();
    return {};
}

Result<Record> MainConfigSource::load() {
    Record read(mainConfigLayout());
    if (!filehelpers::touchFile(board_.path(mainConfigLayout()), false).ok() ||
        !getMainConfig(board_, read).ok())
        return listLoadFailure();
    capAt(read, "maxchannelno", kMostChannels);
    board_.mainConfig = read;
    return read;
}

Result<> MainConfigSource::save(const Edit& edit) {
    Result<Record> edited = edit(board_.mainConfig);
    if (!edited)
        return failureOf(edited);
    edited->setI16("formatlevel", kFormatLevel);
    capAt(edited.value(), "maxchannelno", kMostChannels);
    if (!recordfile::write(board_.path(mainConfigLayout()), 1, edited.value()).ok())
        return unsaved(board_, QStringLiteral("Error While Saving MAIN.CFG"));
    board_.mainConfig = edited.value();
    return {};
}

bool isExistingDirectory(const Board& board, const QString& dosPath) {
    const ResolvedPath resolved =
        resolveDosPath(board.platform.drives, dosPath, QDir::currentPath());
    return !dosPath.trimmed().isEmpty() && resolved.ok() && filehelpers::dirExists(resolved.path);
}

Result<Record> SysPathsSource::load() {
    if (!filehelpers::touchFile(board_.path(sysPathsLayout()), false).ok())
        return listLoadFailure();
    return board_.sysPaths;
}

Result<> SysPathsSource::check(const Record& edited) const {
    for (std::string_view field : sysPathDirectoryFields()) {
        if (!isExistingDirectory(board_, edited.text(field)))
            return Failure{
                QStringLiteral("A path is invalid or missing! Paths will not be saved.")};
    }
    return {};
}

Result<> SysPathsSource::save(const Edit& edit) {
    Result<Record> edited = edit(board_.sysPaths);
    if (!edited)
        return failureOf(edited);
    if (Result<> checked = check(edited.value()); !checked)
        return checked;
    if (!recordfile::write(board_.path(sysPathsLayout()), 1, edited.value()).ok())
        return unsaved(board_, QStringLiteral("Error While Saving SYSPATHS.CFG"));
    board_.sysPaths = edited.value();
    return {};
}

ChannelSource::ChannelSource(const Board& board)
    : FileRecordSource(board, channelXLayout(), QStringLiteral("node"), 1) {}

Result<> ChannelSource::save(const Edit& edit) {
    const QString older = board().path(channelsLayout());
    Record shortRecord(channelsLayout());
    const Result<Record> current = read();
    if (!current || !filehelpers::touchFile(older, false).ok() ||
        !recordfile::read(older, number(), shortRecord).ok())
        return readFailure(kind(), number());
    const Result<Record> edited = edit(current.value());
    if (!edited)
        return failureOf(edited);
    const Record& channel = edited.value();
    shortRecord.setStr("init1", channel.str("init1"));
    shortRecord.setI32("baudrate", channel.i32("baudrate"));
    shortRecord.setI32("minbaud", channel.i32("minbaud"));
    for (const char* field : {"lockedbaud", "rtscts", "serialport", "baseaddy", "irq"})
        shortRecord.setI16(field, channel.i16(field));
    if (!recordfile::write(path(), number(), channel).ok() ||
        !recordfile::write(older, number(), shortRecord).ok())
        return saveFailure(kind(), number());
    return {};
}
