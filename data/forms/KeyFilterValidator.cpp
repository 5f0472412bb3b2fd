#include "data/forms/KeyFilterValidator.h"

QValidator::State KeyFilterValidator::validate(QString& input, int&) const {
    for (QChar c : input) {
        if (!filter_(c.unicode()))
            return Invalid;
    }
    return Acceptable;
}
