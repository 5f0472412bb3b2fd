#pragma once

#include <QString>

// Clears files that older releases left in the board's main directory. Only acts where the
// board program KELD.EXE stands in `directory`; every failure is ignored.
void removeLegacyFiles(const QString& directory);
