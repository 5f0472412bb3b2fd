#pragma once

#include "data/FormTable.h"

// The edit forms of the list tables, a record each.
namespace listedit {

const formtable::Table& download();
const formtable::Table& upload();
const formtable::Table& doors();
const formtable::Table& events();
const formtable::Table& vote();
const formtable::Table& random();
const formtable::Table& textSection();
const formtable::Table& bulletin();
const formtable::Table& multiFeedback();
const formtable::Table& quickValidate();
const formtable::Table& irc();
const formtable::Table& autoResponse();
const formtable::Table& action();
const formtable::Table& room();
const formtable::Table& fbLine();
const formtable::Table& fileTriggers();
const formtable::Table& users();
// The two header boxes above a function block's lines.
const formtable::Table& fbHead();

// The frame every edit form's controls stand in; the form gives it its caption.
inline const char* const kFrame = "Entry";

} // namespace listedit
