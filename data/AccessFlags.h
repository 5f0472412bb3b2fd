#pragma once

#include <QString>

// Access flags are the letters A to Z; a set of them is kept as the bits of an i32, bit 0 being
// A.
namespace accessflags {

// The letters of the set bits, ascending: 5 -> "AC".
QString toText(qint32 flags);
// Blanks dropped, case ignored, every letter counted once; other characters ignored.
qint32 fromText(const QString& text);

// A set of letters as the user file keeps it: 26 places, A at the first, a blank where a letter
// is not in the set.
QString toMask(const QString& text);

// The letters only, upper case, each once, in the order first seen.
QString normalizeLetters(const QString& text);

} // namespace accessflags
