#pragma once

#include "data/RecordLayout.h"

#include <QList>
#include <QStringList>

#include <string_view>
#include <vector>

// A form written down as a table: one entry a record field, in tab order. The record editor
// turns it into widgets, the command line into field names and rules, so a form is its table
// plus the few rules of its own that no table can say.
namespace formtable {

enum class Control {
    Text,   // a text box, trimmed when stored
    Number, // a text box taking digits only, stored rounded and capped to its field
    Flag,   // a check box, stored 0 or 1; the label is its own text
    Combo,  // a drop-down list, stored as the code of the chosen item
    Hex,    // a text box showing a 16-bit number in hexadecimal
    Path,   // a text box of a DOS directory with its browse button
};

// What a text box takes. All but Any turn a to z into capitals as they are typed.
enum class Keys {
    Any,
    Capitals, // anything
    Letters,  // letters only
    Path,     // what a DOS path may hold
    FileName, // a DOS file name, extension and all
    BareName, // a DOS file name without an extension
};

// A text box's own rule.
enum class Rule {
    None,
    Time,        // put in "hh:mm" form when the box is left
    Letters,     // stored as its letters, each once
    Directory,   // a DOS directory, stored without a trailing "\"
    FlagLetters, // an i32 set of access flags, shown and typed as its letters
    FlagMask,    // a text of 26 places, each letter at its own, shown and typed as its letters
    Lower,       // stored in lower case
    HotKey,      // one key, or a command key of several that begins with "/"
    Inverted,    // a check box that is checked when its field holds 0
};

struct Entry {
    std::string_view field; // the record field, and the control's object name
    const char* label;      // with its accelerator
    int page = 0;           // the tab it stands on
    const char* frame = nullptr;
    Control control = Control::Text;
    QStringList items = {}; // a combo's item texts
    Keys keys = Keys::Any;
    Rule rule = Rule::None;
    // The code each combo item stores, where it is not the item's position. A text field of
    // one character stores the character of that code, or nothing for code 0.
    QList<int> codes = {};
};

struct Table {
    const char* objectName;
    const char* caption;
    const RecordLayout* layout;
    QStringList tabs; // empty: one page without tabs
    std::vector<Entry> entries;
    // A number too large for its field stops the save instead of being capped.
    bool refuseOverflow = false;

    const Entry* find(std::string_view field) const;
};

} // namespace formtable
