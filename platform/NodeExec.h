#pragma once

// `keldts-node-exec --socket PATH --token TOKEN --fd H -- PROGRAM ARGS...`
//
// Runs inside a node's tmux window: fetches the caller's socket from the server, places it at
// descriptor H and becomes PROGRAM. It is a program of its own, free of Qt, because it stands
// between every caller and his node: its start-up time is part of every connection.
//
// `args` are the `count` arguments after the program name. Returns only on failure, with a
// message on stderr and a non-zero status; the server then sees the hand-over fail or time out.
int runNodeExec(int count, char** args);
