#pragma once

#include <QStringList>

// `keldts node-exec --socket PATH --token TOKEN --fd H -- PROGRAM ARGS...`
//
// Runs inside a node's tmux window: fetches the caller's socket from the server, places it at
// descriptor H and becomes PROGRAM. `args` are the arguments after "node-exec". Returns only on
// failure, with a message on stderr and a non-zero status; the server then sees the hand-over
// fail or time out.
int runNodeExec(const QStringList& args);
