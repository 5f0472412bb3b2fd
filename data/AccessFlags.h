#pragma once

#include <QString>

// A set of access flags A to Z kept as bits of an i32, bit 0 being A.
namespace accessflags {

// The letters of the set bits, ascending: 5 -> "AC".
QString toText(qint32 flags);
// Blanks dropped, case ignored, every letter counted once; other characters ignored.
qint32 fromText(const QString& text);
// 26 places, each letter standing at its own place (A first), the rest blank.
QString toMask(const QString& text);
// The letters only, upper case, each once, in the order first seen.
QString normalizeLetters(const QString& text);

} // namespace accessflags
