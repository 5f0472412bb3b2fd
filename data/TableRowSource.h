#pragma once

#include "data/RecordSource.h"
#include "data/TableRows.h"

// One row of a table, for the edit form the list forms open on it. What goes wrong is said in
// the list editors' words, with the kind of row and its number.
class TableRowSource : public RecordSource {
  public:
    using Confirmation = std::optional<Question> (*)(const Record& edited);

    TableRowSource(TableRows& rows, int row, QString kind, Confirmation confirmation = nullptr)
        : rows_(rows), row_(row), kind_(std::move(kind)), confirmation_(confirmation) {}

    Result<Record> load() override;
    Result<> save(const Edit& edit) override;
    std::optional<Question> confirmation(const Record& edited) const override {
        return confirmation_ ? confirmation_(edited) : std::nullopt;
    }

    // How many rows the table had at the load, at least 1.
    int count() const { return count_; }

  private:
    TableRows& rows_;
    int row_;
    QString kind_;
    Confirmation confirmation_;
    int count_ = 1;
};
