#pragma once

// `keldts-node-exec --serial-relay FD --conf-dir DIR -- EMULATOR ARGS...`
//
// Puts a caller whose socket is at descriptor FD on the COM1 of a DOS emulator: listens on a
// loopback port, starts EMULATOR with ARGS and "-conf DIR/serial-<pid>.conf", a configuration
// that makes its COM1 a null modem that connects to that port, takes the one connection that
// comes from the emulator itself (no other local program can take the caller), and relays bytes
// both ways. A hang-up on either side is passed on to the other, what the emulator wrote is
// drained to the caller first, and the relay ends with the emulator.
//
// Returns the exit status.
int runSerialRelay(int count, char** args);
