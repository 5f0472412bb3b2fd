#pragma once

#include <QString>

#include <span>
#include <string_view>

class Board;

// What the sysop reads from the View menu, or `keldts ctl view` headless: the board's callers
// as text tables, and its logs.
namespace views {

// The day's callers from CALLERS.LST and NETCALLS.LST, without their colour codes.
QString todaysCallers(const Board& board);
// The nodes with a caller, from CONTROL.DAT, and the web front end's callers of the last
// fifteen minutes.
QString whosOnline(const Board& board);

struct LogFile {
    const char* menu;    // the View menu's entry
    const char* caption; // its text
    const char* file;
    std::string_view directory; // SYSPATHS.CFG's field
    const char* missingTitle;   // the window's title when the file is missing
    bool miscellaneous;         // in the Miscellaneous BBS Logs sub-menu
};
std::span<const LogFile> logFiles();
// The log of that file name, case-blind; nullptr for none.
const LogFile* logFile(const QString& name);

inline const char* const kFileNotFound = "File Not Found.";

// Where the log lies on this machine.
QString logPath(const Board& board, const LogFile& log);
// What `keldts ctl view` answers to "online", "today" or "log NAME", with Linux line ends;
// empty for anything else.
QString viewText(const Board& board, const QString& what);

} // namespace views
