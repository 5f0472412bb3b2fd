#pragma once

// Which keys a configuration text box takes, by character code. Forms turn a refused key into
// nothing; the same rules serve typed and pasted text.
namespace keyfilter {

constexpr int kBackspace = 8;

bool isPathKey(int code);
// A path key, or "." where a name may have an extension (`withExtension`).
bool isFileNameKey(int code, bool withExtension);
bool isLetterKey(int code);
bool isNumberKey(int code);

} // namespace keyfilter
