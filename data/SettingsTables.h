#pragma once

#include "data/FormTable.h"

// The tables of the board's settings forms: keldtsconfig (KELDTS.CFG), keldmain (MAIN.CFG),
// keldpaths (SYSPATHS.CFG) and keldchannel (CHANNELX.CFG, kept in step with CHANNELS.CFG).
const formtable::Table& serverConfigTable();
const formtable::Table& mainConfigTable();
const formtable::Table& sysPathsTable();
const formtable::Table& channelTable();
