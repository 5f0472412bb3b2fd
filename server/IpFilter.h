#pragma once

#include "data/Board.h"

// Whether a caller's address may come in, by KELDTSIP.DAT and `ipfiltermode`: mode 0 blocks
// the listed addresses, any other mode lets in only them. A record part is a number or "*";
// an address that is not four dotted numbers (IPv6) matches no record.
bool isIpAllowed(const Board& board, const QString& address);

// Adds the address of node `node`'s caller (line 2 of its TCPIP.CFG) to the list, and says
// so in the pane.
void blockNodeCaller(Board& board, int node);
