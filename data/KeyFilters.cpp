#include "data/KeyFilters.h"

namespace keyfilter {

bool isPathKey(int code) {
    return code == kBackspace || code == '!' || code == '\'' || code == '-' ||
           (code >= '0' && code <= '9') || code == ':' || (code >= 'A' && code <= 'Z') ||
           code == '\\' || (code >= 95 && code <= 122) || code == '~';
}

bool isFileNameKey(int code, bool withExtension) {
    return code == '.' ? withExtension : isPathKey(code);
}

bool isLetterKey(int code) {
    return code == kBackspace || (code >= 'A' && code <= 'Z') || (code >= 'a' && code <= 'z');
}

bool isNumberKey(int code) {
    return code == kBackspace || code == '.' || (code >= '0' && code <= '9');
}

} // namespace keyfilter
