#include "data/FieldCodec.h"

#include "data/AccessFlags.h"
#include "data/KeyFilters.h"
#include "data/TextHelpers.h"
#include "data/TimeRules.h"
#include "platform/Cp437.h"

#include <cmath>
#include <limits>

namespace fieldcodec {

namespace {

using formtable::Control;
using formtable::Entry;
using formtable::Keys;
using formtable::Rule;

const Field& fieldOf(const Entry& entry, const Record& record) {
    return *record.layout().find(entry.field);
}

QString nameOf(const Entry& entry) {
    return QString::fromLatin1(entry.field.data(), qsizetype(entry.field.size()));
}

int codeOf(const Entry& entry, qsizetype row) {
    return entry.codes.isEmpty() ? int(row) : entry.codes.at(row);
}

int storedCode(const Entry& entry, const Record& record) {
    if (fieldOf(entry, record).type == FieldType::Str) {
        const QByteArray text = record.str(entry.field);
        return text.isEmpty() ? 0 : static_cast<unsigned char>(text.at(0));
    }
    return record.i16(entry.field);
}

bool fits(double value, FieldType type) {
    if (type == FieldType::F32)
        return std::abs(value) <= std::numeric_limits<float>::max();
    const double rounded = std::nearbyint(value);
    if (type == FieldType::I32)
        return rounded >= std::numeric_limits<qint32>::min() &&
               rounded <= std::numeric_limits<qint32>::max();
    return rounded >= std::numeric_limits<qint16>::min() &&
           rounded <= std::numeric_limits<qint16>::max();
}

Failure refused(const Entry& entry, const QString& value, const QString& why) {
    return {QStringLiteral("%1 cannot hold \"%2\": %3").arg(nameOf(entry), value, why)};
}

Result<> storeText(const Entry& entry, Record& record, const QString& value, const QString& shown) {
    if (Result<> taken = typeable(entry, value, shown); !taken)
        return taken;
    QString text = asTyped(entry, value).trimmed();
    if (entry.rule == Rule::HotKey && text.contains(QLatin1Char(' ')) &&
        !text.contains(QLatin1Char('/')))
        return refused(entry, value, QStringLiteral("a key has no blanks"));
    if (entry.rule == Rule::FlagLetters) {
        record.setI32(entry.field, accessflags::fromText(text));
        return {};
    }
    if (entry.rule == Rule::Lower)
        text = text.toLower();
    if (entry.rule == Rule::Time)
        text = normalizeTime(text);
    else if (entry.rule == Rule::Letters)
        text = accessflags::normalizeLetters(text);
    else if (entry.rule == Rule::FlagMask)
        text = accessflags::toMask(text);
    while (entry.rule == Rule::Directory && text.endsWith(QLatin1Char('\\')))
        text.chop(1);
    if (cp437::fromUnicode(text).size() > fieldOf(entry, record).width)
        return refused(
            entry, value,
            QStringLiteral("longer than %1 characters").arg(fieldOf(entry, record).width));
    record.setText(entry.field, text);
    return {};
}

Result<> storeNumber(const Entry& entry, Record& record, const QString& value, const QString& shown,
                     bool refuseOverflow) {
    if (Result<> taken = typeable(entry, value, shown); !taken)
        return taken;
    const FieldType type = fieldOf(entry, record).type;
    if (refuseOverflow && !fits(numericValue(value), type))
        return Failure{QStringLiteral("Overflow: %1 cannot hold %2").arg(nameOf(entry), value)};
    switch (type) {
    case FieldType::I32:
        record.setI32(entry.field, toInt32(value));
        break;
    case FieldType::F32:
        record.setF32(entry.field, static_cast<float>(numericValue(value)));
        break;
    default:
        record.setI16(entry.field, toInt16(value));
        break;
    }
    return {};
}

Result<> storeFlag(const Entry& entry, Record& record, const QString& value) {
    static const QStringList yes{QStringLiteral("1"), QStringLiteral("yes"), QStringLiteral("on"),
                                 QStringLiteral("true")};
    static const QStringList no{QStringLiteral("0"), QStringLiteral("no"), QStringLiteral("off"),
                                QStringLiteral("false")};
    const QString word = value.trimmed().toLower();
    if (!yes.contains(word) && !no.contains(word))
        return refused(entry, value, QStringLiteral("a flag is 1 or 0"));
    const int flag = yes.contains(word) != (entry.rule == Rule::Inverted) ? 1 : 0;
    if (fieldOf(entry, record).type == FieldType::Chr)
        record.setChr(entry.field, flag);
    else
        record.setI16(entry.field, static_cast<qint16>(flag));
    return {};
}

Result<> storeCombo(const Entry& entry, Record& record, const QString& value) {
    const QString wanted = value.trimmed();
    qsizetype row = -1;
    for (qsizetype i = 0; i < entry.items.size() && row < 0; ++i) {
        if (entry.items.at(i).compare(wanted, Qt::CaseInsensitive) == 0)
            row = i;
    }
    bool isCode = false;
    const int typedCode = wanted.toInt(&isCode);
    for (qsizetype i = 0; i < entry.items.size() && row < 0 && isCode; ++i) {
        if (codeOf(entry, i) == typedCode)
            row = i;
    }
    if (row < 0)
        return refused(
            entry, value,
            QStringLiteral("choose one of: %1").arg(entry.items.join(QStringLiteral(", "))));
    const int code = codeOf(entry, row);
    if (fieldOf(entry, record).type == FieldType::Str)
        record.setStr(entry.field, code == 0 ? QByteArray() : QByteArray(1, char(code)));
    else
        record.setI16(entry.field, static_cast<qint16>(code));
    return {};
}

Result<> storeHex(const Entry& entry, Record& record, const QString& value) {
    const QString typed = asTyped(entry, value).trimmed();
    bool ok = typed.isEmpty();
    // Four hex digits at most, read as the 16 bits they spell: FFFF is -1.
    const ushort bits = ok ? 0 : typed.toUShort(&ok, 16);
    if (!ok || typed.size() > 4)
        return refused(entry, value, QStringLiteral("not a hexadecimal number of 16 bits"));
    record.setI16(entry.field, static_cast<qint16>(bits));
    return {};
}

} // namespace

QString mismatch(const Entry& entry, const Field* field) {
    if (!field)
        return QStringLiteral("%1 is no field of the record").arg(nameOf(entry));
    const FieldType type = field->type;
    bool fitting = false;
    switch (entry.control) {
    case Control::Text:
        fitting = entry.rule == Rule::FlagLetters ? type == FieldType::I32 : type == FieldType::Str;
        break;
    case Control::Path:
        fitting = type == FieldType::Str;
        break;
    case Control::Number:
        fitting = type == FieldType::I16 || type == FieldType::I32 || type == FieldType::F32;
        break;
    case Control::Flag:
        fitting = type == FieldType::I16 || type == FieldType::Chr;
        break;
    case Control::Combo:
        fitting = type == FieldType::I16 || (type == FieldType::Str && field->width == 1);
        if (fitting && !entry.codes.isEmpty() && entry.codes.size() != entry.items.size())
            return QStringLiteral("%1 has %2 items but %3 codes")
                .arg(nameOf(entry))
                .arg(entry.items.size())
                .arg(entry.codes.size());
        break;
    case Control::Hex:
        fitting = type == FieldType::I16;
        break;
    }
    return fitting ? QString()
                   : QStringLiteral("%1 is not a field such a control can show").arg(nameOf(entry));
}

QString show(const Entry& entry, const Record& record) {
    const Field& field = fieldOf(entry, record);
    switch (entry.control) {
    case Control::Text:
        if (entry.rule == Rule::FlagLetters)
            return accessflags::toText(record.i32(entry.field));
        if (entry.rule == Rule::FlagMask)
            return record.text(entry.field).remove(QLatin1Char(' '));
        return record.text(entry.field);
    case Control::Path:
        return record.text(entry.field);
    case Control::Hex:
        return QString::number(static_cast<quint16>(record.i16(entry.field)), 16).toUpper();
    case Control::Number:
        if (field.type == FieldType::I32)
            return QString::number(record.i32(entry.field));
        if (field.type == FieldType::F32)
            return QString::number(record.f32(entry.field));
        return QString::number(record.i16(entry.field));
    case Control::Flag:
        if (field.type == FieldType::Chr)
            return record.chr(entry.field) != 0 ? QStringLiteral("1") : QStringLiteral("0");
        if (entry.rule == Rule::Inverted)
            return QString::number(1 - toCheck(record.i16(entry.field)));
        return QString::number(toCheck(record.i16(entry.field)));
    case Control::Combo: {
        const int row = comboRow(entry, record);
        return row < 0 ? QString() : entry.items.at(row);
    }
    }
    return {};
}

int comboRow(const Entry& entry, const Record& record) {
    const int code = storedCode(entry, record);
    for (qsizetype row = 0; row < entry.items.size(); ++row) {
        if (codeOf(entry, row) == code)
            return int(row);
    }
    return -1;
}

bool takes(const Entry& entry, QChar c) {
    switch (entry.control) {
    case Control::Number:
        return keyfilter::isNumberKey(c.unicode());
    case Control::Hex:
        return c.isDigit() || (c >= QLatin1Char('A') && c <= QLatin1Char('F'));
    case Control::Text:
    case Control::Path:
        // One line, whatever else the box takes.
        if (c == QLatin1Char('\r') || c == QLatin1Char('\n'))
            return false;
        break;
    case Control::Flag:
    case Control::Combo:
        return false;
    }
    switch (entry.keys) {
    case Keys::Letters:
        return keyfilter::isLetterKey(c.unicode());
    case Keys::Path:
        return keyfilter::isPathKey(c.unicode());
    case Keys::FileName:
    case Keys::BareName:
        return keyfilter::isFileNameKey(c.unicode(), entry.keys == Keys::FileName);
    case Keys::Any:
    case Keys::Capitals:
        break;
    }
    return true;
}

QString asTyped(const Entry& entry, const QString& text) {
    const bool capitals = entry.control == Control::Hex ||
                          (entry.control != Control::Number && entry.keys != Keys::Any);
    // A key is one character unless it is a command key, which begins with "/".
    QString out =
        entry.rule == Rule::HotKey && text.size() > 1 && !text.startsWith(QLatin1Char('/'))
            ? text.left(1)
            : text;
    if (!capitals)
        return out;
    for (QChar& c : out) {
        if (c >= QLatin1Char('a') && c <= QLatin1Char('z'))
            c = c.toUpper();
    }
    return out;
}

Result<> typeable(const Entry& entry, const QString& value, const QString& shown) {
    const bool box = entry.control == Control::Text || entry.control == Control::Path;
    const QString typed = box ? asTyped(entry, value).trimmed() : value;
    // A sign is no key of a number box: only a stored negative number brings one, and keeps it
    // while the digits behind it are edited.
    const bool keptSign = entry.control == Control::Number && typed.startsWith(QLatin1Char('-')) &&
                          shown.startsWith(QLatin1Char('-'));
    for (QChar c : keptSign ? typed.mid(1) : typed) {
        if (!takes(entry, c))
            return refused(entry, value, QStringLiteral("the box does not take \"%1\"").arg(c));
    }
    return {};
}

Result<> store(const Entry& entry, Record& record, const QString& value, bool refuseOverflow) {
    const QString shown = show(entry, record);
    if (value == shown)
        return {};
    switch (entry.control) {
    case Control::Text:
    case Control::Path:
        return storeText(entry, record, value, shown);
    case Control::Number:
        return storeNumber(entry, record, value, shown, refuseOverflow);
    case Control::Flag:
        return storeFlag(entry, record, value);
    case Control::Combo:
        return storeCombo(entry, record, value);
    case Control::Hex:
        return storeHex(entry, record, value);
    }
    return {};
}

} // namespace fieldcodec
