#include "data/TableCommand.h"

#include "data/Board.h"
#include "data/FieldCodec.h"
#include "data/ListTables.h"
#include "data/TableRowSource.h"
#include "data/TextHelpers.h"
#include "platform/AllOrNone.h"
#include "platform/FileAccess.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <fcntl.h>
#include <unistd.h>

namespace tablecommand {

namespace {

using listtables::ListTable;

// The bytes a record keeps for the DOS programs are no one's to see or set.
bool isReserved(const Field& field) {
    return field.name.starts_with("reserved");
}

QString nameOf(std::string_view field) {
    return QString::fromLatin1(field.data(), qsizetype(field.size()));
}

QJsonObject toJson(const Record& record, int number) {
    QJsonObject object{{QStringLiteral("number"), number}};
    for (const Field& field : record.layout().fields) {
        if (isReserved(field))
            continue;
        QJsonValue value;
        switch (field.type) {
        case FieldType::I16:
            value = record.i16(field.name);
            break;
        case FieldType::I32:
            value = record.i32(field.name);
            break;
        case FieldType::F32:
            value = double(record.f32(field.name));
            break;
        case FieldType::Chr:
            value = record.chr(field.name);
            break;
        case FieldType::Str:
            value = record.text(field.name);
            break;
        }
        object.insert(nameOf(field.name), value);
    }
    return object;
}

QString json(const QJsonValue& value) {
    const QJsonDocument document =
        value.isArray() ? QJsonDocument(value.toArray()) : QJsonDocument(value.toObject());
    return QString::fromUtf8(document.toJson(QJsonDocument::Indented));
}

// A field may hold any byte, and a terminal takes some as commands: control characters are
// shown as `cat -v` shows them, so that no value can move the cursor or forge a line.
QString printable(const QString& text) {
    QString shown;
    for (QChar c : text) {
        if (c.category() != QChar::Other_Control)
            shown += c;
        else if (c.unicode() < 0x20)
            shown += QLatin1Char('^') + QChar(c.unicode() + 0x40);
        else
            shown += QStringLiteral("^?");
    }
    return shown;
}

QString line(const QString& text) {
    return printable(text) + QLatin1Char('\n');
}

// What the form shows, a FIELD=VALUE line a box, in the form `set` takes back.
QString formLines(const formtable::Table& form, const Record& record,
                  const listtables::Derived* derived = nullptr, QDate today = {}) {
    QString text;
    for (const formtable::Entry& entry : form.entries)
        text += line(nameOf(entry.field) + QLatin1Char('=') + fieldcodec::show(entry, record));
    if (derived)
        text +=
            line(nameOf(derived->entry.field) + QLatin1Char('=') + derived->shown(record, today));
    return text;
}

// One sentence a failure, naming the file it happened to.
QString aboutFile(const QString& file, const QString& problem) {
    return problem.contains(file, Qt::CaseInsensitive) ? problem
                                                       : file + QStringLiteral(": ") + problem;
}

// The assignments of `set`, checked against the form before anything is read or written.
struct Assignment {
    const formtable::Entry* entry;
    QString value;
};
Result<QList<Assignment>> assignments(const formtable::Table& form, const QStringList& words,
                                      const listtables::Derived* derived = nullptr) {
    QList<Assignment> all;
    for (const QString& word : words) {
        const qsizetype equals = word.indexOf(QLatin1Char('='));
        const QString name = word.left(equals);
        const formtable::Entry* found = nullptr;
        QStringList known;
        std::vector<const formtable::Entry*> boxes;
        for (const formtable::Entry& entry : form.entries)
            boxes.push_back(&entry);
        if (derived)
            boxes.push_back(&derived->entry);
        for (const formtable::Entry* entry : boxes) {
            const QString field = nameOf(entry->field);
            known << field;
            if (equals > 0 && field.compare(name, Qt::CaseInsensitive) == 0)
                found = entry;
        }
        if (equals <= 0)
            return Failure{QStringLiteral("%1 is no FIELD=VALUE").arg(word)};
        if (!found)
            return Failure{QStringLiteral("there is no field %1; the fields are %2")
                               .arg(name, known.join(QStringLiteral(", ")))};
        all << Assignment{found, word.mid(equals + 1)};
    }
    if (all.isEmpty())
        return Failure{QStringLiteral("set needs at least one FIELD=VALUE")};
    return all;
}

// The values put into the row as the form puts what is typed in its boxes, the derived box's
// last, by its rule over the fields the others set.
RecordSource::Edit applying(const formtable::Table& form, const QList<Assignment>& values,
                            const listtables::Derived* derived = nullptr, QDate today = {}) {
    return [&form, values, derived, today](const Record& current) -> Result<Record> {
        Record record = current;
        const QString shown = derived ? derived->shown(current, today) : QString();
        QString typed = shown;
        for (const Assignment& assignment : values) {
            if (derived && assignment.entry == &derived->entry) {
                if (Result<> taken = fieldcodec::typeable(derived->entry, assignment.value, shown);
                    !taken)
                    return failureOf(taken);
                typed = assignment.value;
            } else if (Result<> stored = fieldcodec::store(*assignment.entry, record,
                                                           assignment.value, form.refuseOverflow);
                       !stored) {
                return failureOf(stored);
            }
        }
        if (derived)
            derived->store(current, record, shown, typed);
        return record;
    };
}

// A value the form's rules turned into another (capitals, a capped or rounded number, letters
// in order) is said, so that a script learns what the file holds.
QStringList turned(const QList<Assignment>& values, const Record& stored,
                   const listtables::Derived* derived) {
    QStringList notes;
    for (const Assignment& assignment : values) {
        const formtable::Entry& entry = *assignment.entry;
        // A check box or a combo takes several words for one value; only a box's text is kept.
        if (entry.control == formtable::Control::Flag || entry.control == formtable::Control::Combo)
            continue;
        const QString kept = derived && &entry == &derived->entry
                                 ? QString::number(toInt16(assignment.value))
                                 : fieldcodec::show(entry, stored);
        if (kept != assignment.value)
            notes << QStringLiteral("%1=%2 was stored as %3")
                         .arg(nameOf(entry.field), assignment.value, kept);
    }
    return notes;
}

// The row of the entry the sysop calls `word`.
Result<int> rowOf(TableRows& rows, const QList<Record>& records, const QString& word) {
    bool isNumber = false;
    const int number = word.toInt(&isNumber);
    for (int row = 0; isNumber && row < records.size(); ++row) {
        if (rows.numberOf(row) == number)
            return row;
    }
    return Failure{QStringLiteral("%1 has no entry %2").arg(rows.name(), word)};
}

class Command {
  public:
    Command(const Board& board, const ListTable& table, TableRows& rows)
        : board_(board), table_(table), rows_(rows) {}

    Result<QString> run(const QString& verb, const QStringList& args) {
        const bool looks = verb == QLatin1String("list") || verb == QLatin1String("show") ||
                           (verb == QLatin1String("head") && args.isEmpty());
        if (Result<> allowed = looks ? Result<>() : mayChange(); !allowed)
            return failureOf(allowed);
        if (verb == QLatin1String("head"))
            return head(args);
        const Result<QList<Record>> records = rows_.read();
        if (!records)
            return failureOf(records);
        if (verb == QLatin1String("list") && args.size() <= 1)
            return list(records.value(), wantsJson(args));
        if (verb == QLatin1String("insert") && args.isEmpty())
            return insert(int(records->size()));
        if (verb == QLatin1String("compress") && args.isEmpty())
            return done(rows_.compress());
        if (args.isEmpty())
            return usageFailure();
        const Result<int> row = rowOf(rows_, records.value(), args.first());
        if (!row)
            return failureOf(row);
        if (verb == QLatin1String("show") && args.size() <= 2)
            return show(records->at(row.value()), row.value(), wantsJson(args.mid(1)));
        if (verb == QLatin1String("delete") && args.size() <= 2)
            return remove(records->at(row.value()), row.value(), args.mid(1));
        if (verb == QLatin1String("move") && args.size() == 2)
            return move(row.value(), args.at(1));
        if (verb == QLatin1String("set"))
            return set(records->at(row.value()), row.value(), args.mid(1));
        return usageFailure();
    }

    // What the form's rules made of the values given, a line each.
    const QStringList& notes() const { return notes_; }

  private:
    Result<> mayChange() const {
        QStringList paths{board_.filePath(rows_.layout().directory, rows_.name())};
        if (table_.alsoWritten)
            paths << board_.path(*table_.alsoWritten);
        for (const QString& path : paths) {
            if (Result<> allowed = writable(path); !allowed)
                return allowed;
        }
        return {};
    }
    QDate today() const { return board_.clock.now().date(); }

    static bool wantsJson(const QStringList& args) {
        return args.size() == 1 && args.first() == QLatin1String("--json");
    }
    static Failure usageFailure() {
        return {QStringLiteral("not understood; see keldts table --help")};
    }
    static Result<QString> done(const Result<>& result) {
        if (!result)
            return failureOf(result);
        return QString();
    }

    Result<QString> list(const QList<Record>& records, bool asJson) const {
        const int count = int(records.size());
        if (asJson) {
            QJsonArray array;
            for (int row = 0; row < count; ++row)
                array.append(toJson(records.at(row), rows_.numberOf(row)));
            return json(array);
        }
        QString text = line(listtables::listCaption(table_, count, rows_.name()));
        for (int row = 0; row < count; ++row)
            text += line(listtables::rowText(table_, records.at(row), rows_.numberOf(row), count));
        return text;
    }

    Result<QString> show(const Record& record, int row, bool asJson) const {
        if (asJson)
            return json(toJson(record, rows_.numberOf(row)));
        return formLines(table_.form(), record, table_.derived, today());
    }

    // With "--yes" among the words, what the edit form would ask is taken as answered Yes.
    Result<QString> set(const Record& current, int row, QStringList words) {
        const bool confirmed = words.removeAll(QStringLiteral("--yes")) > 0;
        const Result<QList<Assignment>> values = assignments(table_.form(), words, table_.derived);
        if (!values)
            return failureOf(values);
        const RecordSource::Edit edit =
            applying(table_.form(), values.value(), table_.derived, today());
        // The edit form's own checks and question, from the source it saves through.
        const TableRowSource source(rows_, row, QLatin1String(table_.kind), table_.confirmation);
        const Result<Record> edited = edit(current);
        if (!edited)
            return failureOf(edited);
        if (Result<> acceptable = source.check(edited.value()); !acceptable)
            return failureOf(acceptable);
        // A row left as it was is not written: a text line would come out in the table's own
        // spelling.
        if (edited->bytes() == current.bytes())
            return QString();
        if (!confirmed) {
            if (std::optional<Question> question = source.confirmation(edited.value()))
                return Failure{question->text.replace(QLatin1Char('\n'), QLatin1Char(' ')) +
                               QStringLiteral(" (add --yes to proceed)")};
        }
        Record stored = edited.value();
        const Result<> changed = rows_.edit(row, [&edit, &stored](const Record& now) {
            Result<Record> result = edit(now);
            if (result)
                stored = result.value();
            return result;
        });
        if (!changed)
            return failureOf(changed);
        notes_ = turned(values.value(), stored, table_.derived);
        return QString();
    }

    // What the list form asks before a delete, "--yes" answers.
    Result<QString> remove(const Record& current, int row, const QStringList& words) {
        const bool confirmed = words == QStringList{QStringLiteral("--yes")};
        if (!confirmed && !words.isEmpty())
            return usageFailure();
        if (table_.removal && !confirmed) {
            if (std::optional<Question> question = table_.removal(current))
                return Failure{question->text + QStringLiteral(" (add --yes to proceed)")};
        }
        return done(rows_.remove(row));
    }

    Result<QString> insert(int count) {
        // A file that a DOS program filled past the limit is told as it is.
        if (count > rows_.limit() && rows_.limit() > 0)
            return Failure{QStringLiteral("%1 holds %2 entries, and inserts stop at %3")
                               .arg(rows_.name())
                               .arg(count)
                               .arg(rows_.limit())};
        const Result<int> row = rows_.insertNew();
        if (!row)
            return failureOf(row);
        return QString::number(rows_.numberOf(row.value())) + QLatin1Char('\n');
    }

    Result<QString> move(int row, const QString& direction) {
        if (direction != QLatin1String("up") && direction != QLatin1String("down"))
            return Failure{QStringLiteral("a move goes up or down, not %1").arg(direction)};
        return done(rows_.move(row, direction == QLatin1String("up")));
    }

    Result<QString> head(const QStringList& args) {
        const formtable::Table* form = rows_.headForm();
        if (!form)
            return Failure{QStringLiteral("%1 has no head").arg(rows_.name())};
        if (args.isEmpty()) {
            const Result<Record> current = rows_.readHead();
            if (!current)
                return failureOf(current);
            return formLines(*form, current.value());
        }
        const Result<QList<Assignment>> values = assignments(*form, args);
        if (!values)
            return failureOf(values);
        return done(rows_.editHead(applying(*form, values.value())));
    }

    const Board& board_;
    const ListTable& table_;
    TableRows& rows_;
    QStringList notes_;
};

} // namespace

Result<> writable(const QString& path) {
    if (!QFileInfo::exists(path))
        return {};
    const Result<int> fd = fileaccess::openRegular(path, O_WRONLY);
    if (!fd)
        return Failure{QStringLiteral("%1 cannot be changed (%2)")
                           .arg(QFileInfo(path).fileName(), fd.error())};
    ::close(fd.value());
    return {};
}

QString usage() {
    return QStringLiteral(
        "usage: keldts table [--board DIR] --list\n"
        "       keldts table [--board DIR] NAME list [--json]\n"
        "       keldts table [--board DIR] NAME show N [--json]\n"
        "       keldts table [--board DIR] NAME insert\n"
        "       keldts table [--board DIR] NAME delete N [--yes]\n"
        "       keldts table [--board DIR] USERFILE.DAT compress\n"
        "       keldts table [--board DIR] NAME move N up|down\n"
        "       keldts table [--board DIR] NAME set N FIELD=VALUE... [--yes]\n"
        "       keldts table [--board DIR] NAME.FB head [FIELD=VALUE...]\n"
        "(NAME is a board file such as DOORS.CFG; DIR, by default the current directory, "
        "holds KELDTS.INI and SYSPATHS.CFG)\n");
}

Outcome run(const Board& board, const QStringList& words, const PassProgress& progress) {
    if (words.size() == 1 && words.first() == QLatin1String("--list"))
        return {0, listtables::names().join(QLatin1Char('\n')) + QLatin1Char('\n'), {}};
    if (words.size() < 2 || words.first().startsWith(QLatin1Char('-')))
        return {2, {}, usage()};
    // What another program's interrupted change left half done is put right before this one.
    if (Result<> recovered = allornone::recover(board.journalPath()); !recovered)
        return {2, {}, recovered.error() + QLatin1Char('\n')};
    Result<listtables::Opened> opened = listtables::open(board, words.first());
    if (!opened)
        return {2, {}, opened.error() + QLatin1Char('\n')};
    TableRows& rows = *opened->rows;
    rows.setProgress(progress);
    Command command(board, *opened->table, rows);
    const Result<QString> result = command.run(words.at(1), words.mid(2));
    if (!result)
        return {2, {}, line(aboutFile(rows.name(), result.error()))};
    QString notes;
    for (const QString& note : command.notes())
        notes += line(aboutFile(rows.name(), note));
    return {0, result.value(), notes};
}

} // namespace tablecommand
