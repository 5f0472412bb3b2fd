#pragma once

#include <QString>

// Access flags are the letters A to Z.
namespace accessflags {

// The letters only, upper case, each once, in the order first seen.
QString normalizeLetters(const QString& text);

} // namespace accessflags
