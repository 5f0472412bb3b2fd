#pragma once

// Passing an open descriptor from the server to a node program that some other process (tmux)
// started: the node connects to a private unix socket, names its launch by a token line, and
// receives the caller's socket with SCM_RIGHTS, followed by its orders: where the socket goes
// and what to run. Every descriptor made here is close-on-exec.

#include <string>
#include <vector>

namespace handover {

// What the node's helper is to do with the socket it receives.
struct Orders {
    int targetFd = -1;                // the descriptor number the node finds its caller at
    std::string directory;            // where the node runs; empty: where the helper stands
    std::vector<std::string> command; // program and arguments
};

// The orders as they travel after the descriptor: a line with the number of fields, then the
// fields (descriptor number, directory, program, arguments), each ended by a NUL byte.
std::string encodeOrders(const Orders& orders);
// Reads one set of orders from `channel`; false with errno set (0 for orders that make no
// sense, or a peer that closed before they were whole).
bool receiveOrders(int channel, Orders* orders);

// Sends `fd` over the unix socket `channel` with a one-byte payload. False with errno set.
bool sendDescriptor(int channel, int fd);
// Receives one descriptor from `channel`, close-on-exec; -1 with errno set (0 when the peer
// closed without sending one).
int receiveDescriptor(int channel);
// The process id at the other end of a connected unix socket, 0 if unknown.
long peerPid(int channel);
// Sets or clears FD_CLOEXEC; false with errno set.
bool setCloseOnExec(int fd, bool on);

} // namespace handover
