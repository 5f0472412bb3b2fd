#include "data/forms/KeyFilterValidator.h"

#include "data/FieldCodec.h"

QValidator::State KeyFilterValidator::validate(QString& input, int&) const {
    input = fieldcodec::asTyped(entry_, input);
    for (qsizetype i = 0; i < input.size(); ++i) {
        // A stored negative number shows its sign; the box keeps it while the rest is edited.
        const bool sign =
            i == 0 && input[i] == QLatin1Char('-') && entry_.control == formtable::Control::Number;
        if (!sign && !fieldcodec::takes(entry_, input[i]))
            return Invalid;
    }
    return Acceptable;
}
