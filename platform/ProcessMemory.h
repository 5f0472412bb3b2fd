#pragma once

#include <QByteArray>

// How much memory the server itself holds, in kilobytes: in RAM, and swapped out.
struct MemoryUse {
    qint64 residentKb = 0;
    qint64 swapKb = 0;
};

// The figures of a /proc/<pid>/status text; a figure it does not give counts as 0.
MemoryUse parseProcessStatus(const QByteArray& status);
// This process's figures; zeros where the system does not tell.
MemoryUse ownMemoryUse();
