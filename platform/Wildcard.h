#pragma once

#include <QString>

// DOS file name matching, case-blind: "*" takes any run of characters, "?" takes one character
// or, at the end of the name or of the extension, none ("KELDTS.???" matches "KELDTS.1").
bool matchesDosWildcard(const QString& pattern, const QString& fileName);

bool hasDosWildcard(const QString& text);
