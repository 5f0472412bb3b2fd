#include "data/TableCommand.h"

#include "data/Board.h"
#include "data/FieldCodec.h"
#include "data/ListTables.h"
#include "platform/AllOrNone.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

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

// What the form shows, a FIELD=VALUE line a field, in the form `set` takes back.
QString formLines(const formtable::Table& form, const Record& record) {
    QString text;
    for (const formtable::Entry& entry : form.entries)
        text += QStringLiteral("%1=%2\n").arg(nameOf(entry.field), fieldcodec::show(entry, record));
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
Result<QList<Assignment>> assignments(const formtable::Table& form, const QStringList& words) {
    QList<Assignment> all;
    for (const QString& word : words) {
        const qsizetype equals = word.indexOf(QLatin1Char('='));
        const QString name = word.left(equals);
        const formtable::Entry* found = nullptr;
        QStringList known;
        for (const formtable::Entry& entry : form.entries) {
            const QString field = nameOf(entry.field);
            known << field;
            if (equals > 0 && field.compare(name, Qt::CaseInsensitive) == 0)
                found = &entry;
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

RecordSource::Edit applying(const formtable::Table& form, const QList<Assignment>& values) {
    return [&form, values](const Record& current) -> Result<Record> {
        Record record = current;
        for (const Assignment& assignment : values) {
            if (Result<> stored = fieldcodec::store(*assignment.entry, record, assignment.value,
                                                    form.refuseOverflow);
                !stored)
                return failureOf(stored);
        }
        return record;
    };
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
    Command(const ListTable& table, TableRows& rows) : table_(table), rows_(rows) {}

    Result<QString> run(const QString& verb, const QStringList& args) {
        if (verb == QLatin1String("head"))
            return head(args);
        const Result<QList<Record>> records = rows_.read();
        if (!records)
            return failureOf(records);
        if (verb == QLatin1String("list") && args.size() <= 1)
            return list(records.value(), wantsJson(args));
        if (verb == QLatin1String("insert") && args.isEmpty())
            return insert();
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

  private:
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
        QString text = listtables::listCaption(table_, count, rows_.name()) + QLatin1Char('\n');
        for (int row = 0; row < count; ++row)
            text += listtables::rowText(table_, records.at(row), rows_.numberOf(row), count) +
                    QLatin1Char('\n');
        return text;
    }

    Result<QString> show(const Record& record, int row, bool asJson) const {
        if (asJson)
            return json(toJson(record, rows_.numberOf(row)));
        return formLines(table_.form(), record);
    }

    // With "--yes" among the words, what the edit form would ask is taken as answered Yes.
    Result<QString> set(const Record& current, int row, QStringList words) {
        const bool confirmed = words.removeAll(QStringLiteral("--yes")) > 0;
        const Result<QList<Assignment>> values = assignments(table_.form(), words);
        if (!values)
            return failureOf(values);
        const RecordSource::Edit edit = applying(table_.form(), values.value());
        if (table_.confirmation && !confirmed) {
            const Result<Record> edited = edit(current);
            if (!edited)
                return failureOf(edited);
            if (std::optional<Question> question = table_.confirmation(edited.value()))
                return Failure{question->text.replace(QLatin1Char('\n'), QLatin1Char(' ')) +
                               QStringLiteral(" (add --yes to proceed)")};
        }
        return done(rows_.edit(row, edit));
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

    Result<QString> insert() {
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

    const ListTable& table_;
    TableRows& rows_;
};

} // namespace

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
    Command command(*opened->table, rows);
    const Result<QString> result = command.run(words.at(1), words.mid(2));
    if (!result)
        return {2, {}, aboutFile(rows.name(), result.error()) + QLatin1Char('\n')};
    return {0, result.value(), {}};
}

} // namespace tablecommand
