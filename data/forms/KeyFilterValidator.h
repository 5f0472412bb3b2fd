#pragma once

#include <QValidator>

#include <functional>

// Binds one of the board's key filters to a text box: text holding a key the filter refuses is
// not taken, whether it was typed or pasted.
class KeyFilterValidator : public QValidator {
    Q_OBJECT
  public:
    using Filter = std::function<bool(int code)>;

    KeyFilterValidator(Filter filter, QObject* parent = nullptr)
        : QValidator(parent), filter_(std::move(filter)) {}

    State validate(QString& input, int& position) const override;

  private:
    Filter filter_;
};
