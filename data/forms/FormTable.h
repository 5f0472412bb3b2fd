#pragma once

#include <QStringList>

#include <string_view>
#include <vector>

// A settings form written down as a table: one entry a record field, in tab order. TableForm
// turns it into widgets and moves values between them and the record, so a form is its table
// plus the few rules of its own that no table can say.
namespace formtable {

enum class Control {
    Text,   // a text box, trimmed when stored
    Number, // a text box taking digits only, stored rounded and capped to its field
    Flag,   // a check box, stored 0 or 1; the label is its own text
    Combo,  // a drop-down list, stored as the position of the chosen item
    Hex,    // a text box showing a 16-bit number in hexadecimal
    Path,   // a text box of a DOS directory with its browse button
};

// What a text box takes. All but Any turn a to z into capitals as they are typed.
enum class Keys {
    Any,
    Capitals, // anything
    Letters,  // letters only
    Path,     // what a DOS path may hold
};

// A text box's own rule.
enum class Rule {
    None,
    Time,    // put in "hh:mm" form when the box is left
    Letters, // stored as its letters, each once
};

struct Entry {
    std::string_view field; // the record field, and the control's object name
    const char* label;      // with its accelerator
    int page = 0;           // the tab it stands on
    const char* frame = nullptr;
    Control control = Control::Text;
    QStringList items = {}; // a combo's item texts, in stored order
    Keys keys = Keys::Any;
    Rule rule = Rule::None;
};

struct Table {
    const char* objectName;
    const char* caption;
    QStringList tabs; // empty: one page without tabs
    std::vector<Entry> entries;
    // A number too large for its field stops the save instead of being capped.
    bool refuseOverflow = false;
};

} // namespace formtable
