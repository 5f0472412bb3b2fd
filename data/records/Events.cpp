#include "data/records/Events.h"

#include "data/RecordFile.h"
#include "data/TimeRules.h"

bool getEvent(const Board& board, int number, Record& event, QString* error) {
    if (!recordfile::read(board.filePath("main", QStringLiteral("EVENTS.CFG")), number, event,
                          error))
        return false;
    event.setText("evttime", normalizeTime(event.text("evttime")));
    return true;
}
