#pragma once

#include "data/RecordLayout.h"

#include <QString>

// The board's text tables, one entry a line, read into records of layouts of their own so that
// their editors and the command line work on them as on any record. A line is parsed as the
// node programs parse it and written back in the form they write.

const RecordLayout& ircLineLayout();      // IRC-S.CFG: host, port, the four flags
const RecordLayout& autoResponseLayout(); // AUTORESP.CFG: keyword, reply path, attached file
const RecordLayout& actionLayout();       // ACTION.CFG: command, action text
const RecordLayout& fbLineLayout();       // a function block's command line
const RecordLayout& fbHeadLayout();       // a function block's two header lines
const RecordLayout& roomLayout();         // ROOMn.CFG: name, moderator

namespace textlines {

Record parseIrc(const QString& line);
QString formatIrc(const Record& server);

Record parseAutoResponse(const QString& line);
QString formatAutoResponse(const Record& entry);

Record parseAction(const QString& line);
QString formatAction(const Record& action);

Record parseFbLine(const QString& line);
QString formatFbLine(const Record& command);

Record parseRoom(const QString& line);
// An unnamed room `number` is called "Room <number>".
QString formatRoom(const Record& room, int number);

} // namespace textlines
