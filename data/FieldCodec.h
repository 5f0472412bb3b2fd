#pragma once

#include "data/FormTable.h"
#include "platform/Result.h"

#include <QString>

// How a form's control and its record field turn into each other: control kind by field type
// (text, numbers, flags, combos with or without codes of their own, hexadecimal, times, access
// letters). The record editor, the list forms and the command line all go through here, so a
// value typed in a box and one given on the command line meet the same rules.
namespace fieldcodec {

// Why `entry`'s control cannot stand for `field` (nullptr: no such field); empty when it can.
QString mismatch(const formtable::Entry& entry, const Field* field);

// What the control shows: a box's text, "1" or "0" for a check box, the chosen item's text for
// a combo ("" when the stored code names no item).
QString show(const formtable::Entry& entry, const Record& record);
// The combo item that the stored code picks; -1 when none does.
int comboRow(const formtable::Entry& entry, const Record& record);

// Whether a box takes the character, typed or pasted.
bool takes(const formtable::Entry& entry, QChar c);
// The text as the box turns it while it is typed: capitals, where the box makes them.
QString asTyped(const formtable::Entry& entry, const QString& text);
// Whether the box showing `shown` could come to hold `value` by the keys it takes; refused,
// naming the first character it does not take, when it could not.
Result<> typeable(const formtable::Entry& entry, const QString& value, const QString& shown);

// Puts a value, in the form show() gives (a combo also takes its code in digits, a check box
// also yes or no), into the field by the form's rules: trimmed, capitals, times and letters put
// in order, numbers rounded and capped, or refused as "Overflow" where the table says so. A
// value the control could not hold is refused and the record left as it was. A value equal to
// what is shown changes nothing, so bytes no one touched keep their exact form.
Result<> store(const formtable::Entry& entry, Record& record, const QString& value,
               bool refuseOverflow);

} // namespace fieldcodec
