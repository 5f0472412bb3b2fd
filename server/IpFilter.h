#pragma once

#include "data/Board.h"

// Whether a caller's address may come in, by `ipfiltermode`: mode 0 blocks the listed
// addresses, any other mode lets in only them. IPv4 callers (dotted) are judged by KELDTSIP.DAT,
// where a record part is a number or "*"; IPv6 callers by KELDTSIP.V6, where a line that is no
// address or network counts for nothing and the sinks say so once. A list that cannot be read
// lets nobody in, and the sinks say which file and why.
bool isIpAllowed(Board& board, const QString& address);

// Adds the address of node `node`'s caller (line 2 of its TCPIP.CFG) to its list, and says so
// in the pane.
void blockNodeCaller(Board& board, int node);
