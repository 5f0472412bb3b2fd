#pragma once

#include "data/RecordLayout.h"

// The channel record of a node that the telnet server runs: FOSSIL device 0 at 115200 baud on
// the first serial port's address and interrupt, everything else blank or zero. Serves both
// CHANNELX.CFG and the short CHANNELS.CFG.
Record fossilChannel(const RecordLayout& channelFile);
