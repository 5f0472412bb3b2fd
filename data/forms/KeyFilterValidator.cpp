#include "data/forms/KeyFilterValidator.h"

QValidator::State KeyFilterValidator::validate(QString& input, int&) const {
    if (letters_ == Letters::Capitals) {
        for (QChar& c : input) {
            if (c >= QLatin1Char('a') && c <= QLatin1Char('z'))
                c = c.toUpper();
        }
    }
    for (QChar c : input) {
        if (!filter_(c.unicode()))
            return Invalid;
    }
    return Acceptable;
}
