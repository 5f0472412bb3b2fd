#pragma once

#include "data/RecordSource.h"

class Board;

// The sources of the settings forms. They edit the board's memory images, which every part of
// the server reads; a failed save leaves the image and the form as they were, says so in both
// sinks, and keeps the form open.
class SettingsSource : public RecordSource {
  public:
    explicit SettingsSource(Board& board) : board_(board) {}
    bool closesAfterFailedSave() const override { return false; }

  protected:
    Board& board_;
};

// KELDTS.CFG. The node count is capped at 100; the caller loads the settings again afterwards,
// so that the load's corrections apply to what was typed.
class ServerConfigSource : public SettingsSource {
  public:
    using SettingsSource::SettingsSource;
    Result<Record> load() override;
    Result<> save(const Edit& edit) override;
};

// MAIN.CFG, read afresh from the file when the form opens. Every save marks the record with
// the format level the node programs expect and caps the channel count at 100.
class MainConfigSource : public SettingsSource {
  public:
    using SettingsSource::SettingsSource;
    Result<Record> load() override;
    Result<> save(const Edit& edit) override;
};

// SYSPATHS.CFG. Nothing is saved while any of the nine directories does not exist.
class SysPathsSource : public SettingsSource {
  public:
    using SettingsSource::SettingsSource;
    Result<Record> load() override;
    Result<> check(const Record& edited) const override;
    Result<> save(const Edit& edit) override;
};

// Whether a DOS path, as SYSPATHS.CFG holds it, names an existing directory on this machine.
bool isExistingDirectory(const Board& board, const QString& dosPath);

// One node's channel record. CHANNELX.CFG is what is shown; a save writes it and then the same
// node's record of the older CHANNELS.CFG, with the fields the two share.
class ChannelSource : public FileRecordSource {
  public:
    explicit ChannelSource(const Board& board);
    Result<> save(const Edit& edit) override;
};
