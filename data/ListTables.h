#pragma once

#include "data/FormTable.h"
#include "data/TableRows.h"

#include <QDate>
#include <QString>

#include <memory>
#include <optional>
#include <span>

class Board;

// The board's tables that the sysop edits as a list and a record at a time: what the list form
// and its edit form are called, how a row reads, and what stands behind the rows. The forms and
// the command line both start from here.
namespace listtables {

// A box of an edit form that stands for no field of its own but for a rule over the row's
// fields, such as the user's time left.
struct Derived {
    formtable::Entry entry;
    // What the box shows of the row.
    QString (*shown)(const Record& row, QDate today);
    // Puts what the sysop typed back into the fields of `edited`, `current` being the row as
    // it stands on disk and `shown` what the box showed.
    void (*store)(const Record& current, Record& edited, const QString& shown,
                  const QString& typed);
};

struct ListTable {
    // The file's DOS name; "n" stands for the number of a numbered file ("TEXTn.DAT") and "*"
    // for the name of a function block ("*.FB").
    const char* fileName;
    const char* listForm; // the list form's object name, "kelddoors"
    const char* list;     // its list's, "lstDoors"
    const char* caption;  // the list form's window title
    const char* title;    // the list frame's caption before the count: "Doors Configuration ("
    const char* frame;    // the edit frame's caption before the number: "Door "
    const char* kind;     // the one word of the board's error texts: "door"
    const formtable::Table& (*form)();
    std::unique_ptr<TableRows> (*rows)(const Board& board, int number, const QString& name);
    // What a row shows after its number.
    QString (*columns)(const Record& record);
    // The width the row numbers are padded to; 0: that of the row count.
    int numberWidth = 0;
    bool inserts = true;
    bool removes = true;
    bool moves = true;
    const char* listFrame = "fraList"; // the list's frame's object name
    // What the edit form asks before it stores a row, where the row's values call for it.
    std::optional<Question> (*confirmation)(const Record& edited) = nullptr;
    // What the sysop is asked before a row is deleted, where a delete is asked about.
    std::optional<Question> (*removal)(const Record& row) = nullptr;
    // A file that every change of a row writes as well: the user index.
    const RecordLayout* alsoWritten = nullptr;
    const Derived* derived = nullptr;
};

std::span<const ListTable> all();
// By its file name, "TEXTn.DAT" as written here.
const ListTable& named(const char* fileName);

// A table as a board file's name picks it.
struct Opened {
    const ListTable* table;
    std::unique_ptr<TableRows> rows;
};
// The table of a board file by its DOS name, case-blind: "doors.cfg", "TEXT3.DAT", "ROOM7.CFG",
// "SYSOP.FB". A name that is none of them is refused, naming the ones there are.
Result<Opened> open(const Board& board, const QString& fileName);
// The names open() takes, for the sysop.
QStringList names();

// A row as the list shows it: its number, padded, ": " and the columns.
QString rowText(const ListTable& table, const Record& record, int number, int count);
// The list frame's caption: "Doors Configuration (3)", "Function Block (2) [SYSOP.FB]".
QString listCaption(const ListTable& table, int count, const QString& name);
// The edit frame's caption: "Door 2 / 3", "Line 1 / 2 [SYSOP.FB]".
QString frameCaption(const ListTable& table, int number, int count, const QString& name);

} // namespace listtables
