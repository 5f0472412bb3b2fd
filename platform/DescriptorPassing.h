#pragma once

// Passing an open descriptor from the server to a node program that some other process (tmux)
// started: the node connects to a private unix socket, names its launch by a token line, and
// receives the caller's socket with SCM_RIGHTS. Every descriptor made here is close-on-exec.
namespace handover {

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
