#pragma once

#include <QtGlobal>

// Ends process `pid` and everything it started, each child after its own descendants. The root
// is spared when `keepRoot`. False only when the process table cannot be read (or `pid` is 0).
bool killProcessTree(qint64 pid, bool keepRoot);

// This process's resident and swapped memory in kilobytes, for the About box.
qint64 processMemoryKb();
qint64 processSwapKb();
