#pragma once

// `keldts-node-exec --socket PATH --token TOKEN`
//
// Runs inside a node's tmux window: fetches the caller's socket from the server with the
// node's orders, places the socket at the descriptor number they name, moves to their
// directory and becomes their program. It may be started long before a caller comes (a warm
// spare window), which is why the orders come with the socket and not on its command line. It is a
// program of its own, free of Qt, because it stands between every caller and his node: its start-up
// time is part of every connection.
//
// `args` are the `count` arguments after the program name. Returns only on failure, with a
// message on stderr and a non-zero status; the server then sees the hand-over fail or time out.
int runNodeExec(int count, char** args);
