#pragma once

#include "data/Board.h"
#include "platform/Result.h"

#include <QString>

// The outcome of loading the settings. A fatal outcome ends the program after its box.
struct [[nodiscard]] ConfigLoad {
    bool fatal = false;
    QString text;
    // KELDTS.CFG when this load made it or completed a short one with defaults: a board whose
    // settings changed under it without the sysop's hand must be told so.
    QString completed;
};

// Reads SYSPATHS.CFG from the current directory, moves into the board's main directory, reads
// MAIN.CFG and KELDTS.CFG (upgrading a short KELDTS.CFG on disk) and corrects out-of-range
// settings in memory. Boxes for the corrections go through the board's dialogs.
ConfigLoad loadSystemConfig(Board& board);

// MAIN.CFG from the main directory, with the network period's times put in "hh:mm" form.
Result<> getMainConfig(const Board& board, Record& mainConfig);

// Sets a text field of MAIN.CFG on disk, in the record as the node programs left it (the memory
// image has the network period's times rewritten), and then in memory.
Result<> setMainConfigText(Board& board, std::string_view field, const QString& value);

// SYSPATHS.CFG by its bare name in the current directory (`fromCurrentDirectory`, the way the
// first read finds it) or from the main directory.
Result<> getSysPaths(const Board& board, bool fromCurrentDirectory, Record& sysPaths);

// Writes `config` as KELDTS.CFG; fails as "Error While Saving KELDTS.CFG".
Result<> writeServerConfig(const Board& board, const Record& config);
// Writes the memory image, for callers that carry on whatever happens: a failure goes to both
// sinks.
void saveServerConfig(Board& board);

// Puts this build's version into KTSDATA.DAT, keeping the node programs' bytes around it.
void writeServerVersion(Board& board);

// The KELDTS.CFG record a new installation gets; `today` fills `eventbatchdate`.
Record newServerConfig(const QDate& today);
