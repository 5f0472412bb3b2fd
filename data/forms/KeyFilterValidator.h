#pragma once

#include <QValidator>

#include <functional>

// Binds one of the board's key filters to a text box: text holding a key the filter refuses is
// not taken, whether it was typed or pasted. With Capitals, a to z become A to Z as they come.
class KeyFilterValidator : public QValidator {
    Q_OBJECT
  public:
    using Filter = std::function<bool(int code)>;

    enum class Letters { AsTyped, Capitals };

    KeyFilterValidator(Filter filter, QObject* parent = nullptr, Letters letters = Letters::AsTyped)
        : QValidator(parent), filter_(std::move(filter)), letters_(letters) {}

    State validate(QString& input, int& position) const override;

  private:
    Filter filter_;
    Letters letters_;
};
