#pragma once

#include "data/RecordLayout.h"
#include "platform/Result.h"

#include <QString>

#include <functional>
#include <optional>

class Board;

// What the sysop is asked before a record is stored, when its values call for a second
// thought.
struct Question {
    QString title;
    QString text;
};

// Where an editor's record comes from and goes back to. A source does all the file work and
// words what goes wrong in the board's own texts, so that a form only shows what it is told and
// the command line says the same.
class RecordSource {
  public:
    // What the sysop changed, applied to the record as it stands when it is saved; refused
    // values fail.
    using Edit = std::function<Result<Record>(const Record& current)>;

    virtual ~RecordSource() = default;
    // The record to edit. A failure's text is what the sysop is told; the form does not open.
    virtual Result<Record> load() = 0;
    // What the record's own rules refuse in an edited record, before anything is written; the
    // form stays open with what was typed.
    virtual Result<> check(const Record& /*edited*/) const { return {}; }
    // What to ask before an edited record that passed the checks is stored; nothing is stored
    // unless the answer is Yes.
    virtual std::optional<Question> confirmation(const Record& /*edited*/) const {
        return std::nullopt;
    }
    // Reads the record again, applies `edit` and stores it, so that fields a node program
    // changed meanwhile and the sysop did not keep the node's values.
    virtual Result<> save(const Edit& edit) = 0;
    // After a failed save the list editors' record forms close, as the board's editors always
    // did; the settings forms stay open with what was typed.
    virtual bool closesAfterFailedSave() const { return true; }
};

// The board's words for a record editor that gives up. `kind` is one word such as "door".
Failure listLoadFailure();
Failure readFailure(const QString& kind, int number);
Failure saveFailure(const QString& kind, int number);

// One record of a record file, read and written in place as the node programs do. A missing
// file is created empty first, so a new board opens on blanks and zeros.
class FileRecordSource : public RecordSource {
  public:
    FileRecordSource(const Board& board, const RecordLayout& file, QString kind, int number,
                     int fileNumber = 0);

    Result<Record> load() override;
    Result<> save(const Edit& edit) override;

    int number() const { return number_; }
    void setNumber(int number) { number_ = number; }

  protected:
    // The record as the file holds it now; past the end of the file, blanks and zeros.
    Result<Record> read() const;
    QString path() const;
    const Board& board() const { return board_; }
    const QString& kind() const { return kind_; }

  private:
    const Board& board_;
    const RecordLayout& file_;
    QString kind_;
    int number_;
    int fileNumber_;
};
