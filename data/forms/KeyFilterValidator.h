#pragma once

#include "data/FormTable.h"

#include <QValidator>

// Binds a text box to what its form table entry takes: text holding a character the box
// refuses is not taken, whether it was typed or pasted, and letters become capitals as they
// come where the box makes them.
class KeyFilterValidator : public QValidator {
    Q_OBJECT
  public:
    KeyFilterValidator(const formtable::Entry& entry, QObject* parent)
        : QValidator(parent), entry_(entry) {}

    State validate(QString& input, int& position) const override;

  private:
    const formtable::Entry& entry_;
};
