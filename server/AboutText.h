#pragma once

#include "platform/ProcessMemory.h"

#include <QLocale>
#include <QString>
#include <QStringList>

class Board;

// The about box's lines, as they stand when it opens.
namespace about {

QString versionText();
// "Uptime: " and how long the server has run, in words.
QString uptimeText(const Board& board);
// The RAM and swap figures with the locale's digit grouping.
QString memoryText(const MemoryUse& use, const QLocale& locale = QLocale());
QString disclaimerText(const Board& board);
// The system-information program of KELDTS.INI with its arguments, when it is installed;
// empty otherwise.
QStringList sysInfoCommand(const Board& board);

} // namespace about
