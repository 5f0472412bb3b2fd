#include "data/RecordLayout.h"

#include "platform/Cp437.h"

#include <QtEndian>

#include <cstring>

const Field* RecordLayout::find(std::string_view name) const {
    for (const Field& f : fields) {
        if (f.name == name)
            return &f;
    }
    return nullptr;
}

QString RecordLayout::nameOf(int number) const {
    QString name = QString::fromLatin1(fileName.data(), qsizetype(fileName.size()));
    const qsizetype numbered = name.indexOf(QLatin1String("n."));
    if (numbered >= 0)
        name.replace(numbered, 1, QString::number(number));
    return name;
}

Record::Record(const RecordLayout& layout) : layout_(&layout), storage_(layout.length, '\0') {
    clear();
}

QByteArray Record::bytes() const {
    if (offset_ == 0 && storage_.size() == layout_->length)
        return storage_;
    return storage_.mid(offset_, layout_->length);
}

QByteArray& Record::bytes() {
    if (offset_ != 0 || storage_.size() != layout_->length) {
        storage_ = storage_.mid(offset_, layout_->length);
        offset_ = 0;
    }
    storage_.detach();
    return storage_;
}

void Record::clear() {
    bytes().fill('\0');
    for (const Field& f : layout_->fields) {
        if (f.type == FieldType::Str)
            std::memset(at(f), ' ', static_cast<size_t>(f.width));
    }
}

const Field& Record::field(std::string_view name, FieldType type) const {
    const Field* f = layout_->find(name);
    if (!f || f->type != type)
        qFatal("%.*s has no field %.*s of that type", int(layout_->fileName.size()),
               layout_->fileName.data(), int(name.size()), name.data());
    return *f;
}

qint16 Record::i16(std::string_view name) const {
    return qFromLittleEndian<qint16>(at(field(name, FieldType::I16)));
}

qint32 Record::i32(std::string_view name) const {
    return qFromLittleEndian<qint32>(at(field(name, FieldType::I32)));
}

float Record::f32(std::string_view name) const {
    const quint32 raw = qFromLittleEndian<quint32>(at(field(name, FieldType::F32)));
    float value;
    std::memcpy(&value, &raw, sizeof value);
    return value;
}

int Record::chr(std::string_view name) const {
    return static_cast<unsigned char>(*at(field(name, FieldType::Chr)));
}

QByteArray Record::str(std::string_view name) const {
    const Field& f = field(name, FieldType::Str);
    return trimBlanks(QByteArray(at(f), f.width));
}

QString Record::text(std::string_view name) const {
    return cp437::toUnicode(str(name));
}

void Record::setI16(std::string_view name, qint16 value) {
    qToLittleEndian(value, at(field(name, FieldType::I16)));
}

void Record::setI32(std::string_view name, qint32 value) {
    qToLittleEndian(value, at(field(name, FieldType::I32)));
}

void Record::setF32(std::string_view name, float value) {
    quint32 raw;
    std::memcpy(&raw, &value, sizeof raw);
    qToLittleEndian(raw, at(field(name, FieldType::F32)));
}

void Record::setChr(std::string_view name, int code) {
    *at(field(name, FieldType::Chr)) = static_cast<char>(code);
}

void Record::setStr(std::string_view name, const QByteArray& value) {
    const Field& f = field(name, FieldType::Str);
    const qsizetype n = qMin<qsizetype>(value.size(), f.width);
    std::memcpy(at(f), value.constData(), static_cast<size_t>(n));
    std::memset(at(f) + n, ' ', static_cast<size_t>(f.width - n));
}

void Record::setText(std::string_view name, const QString& value) {
    setStr(name, cp437::fromUnicode(value));
}

QByteArray trimBlanks(const QByteArray& text) {
    qsizetype begin = 0, end = text.size();
    while (begin < end && text.at(begin) == ' ')
        ++begin;
    while (end > begin && text.at(end - 1) == ' ')
        --end;
    return text.mid(begin, end - begin);
}
