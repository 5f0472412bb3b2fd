#pragma once

#include "data/Board.h"

// One record of EVENTS.CFG with its time of day put in "hh:mm" form, as every reader wants it.
bool getEvent(const Board& board, int number, Record& event, QString* error);
