#pragma once

#include <QByteArray>
#include <QString>

#include <span>
#include <string_view>

enum class FieldType { I16, I32, F32, Str, Chr };

struct Field {
    std::string_view name;
    int offset;
    FieldType type;
    int width;
};

// One board file of packed, little-endian, fixed-length records as the DOS programs lay it
// out: its name, the SYSPATHS.CFG field of its directory, its record length and its fields.
// Every reader, writer, form and test works from one of these declarations.
struct RecordLayout {
    // "TEXTn.DAT": the "n" stands for the number of a numbered file, such as a section's.
    std::string_view fileName;
    int length;
    std::span<const Field> fields;
    std::string_view directory = "main";

    const Field* find(std::string_view name) const;
    // The file's name, with `number` in place of the "n" of a numbered file.
    QString nameOf(int number = 0) const;
};

constexpr bool fieldsAreContiguous(std::span<const Field> fields, int length) {
    int next = 0;
    for (const Field& f : fields) {
        const int width = f.type == FieldType::I16   ? 2
                          : f.type == FieldType::I32 ? 4
                          : f.type == FieldType::F32 ? 4
                          : f.type == FieldType::Chr ? 1
                                                     : f.width;
        if (f.offset != next || width != f.width)
            return false;
        next += width;
    }
    return next == length;
}

// One record's bytes with access by field name. Unknown names are programming errors and stop
// the program in every build, since a silent wrong offset would corrupt a board file.
class Record {
  public:
    explicit Record(const RecordLayout& layout);
    // The record that starts at `offset` in `table`, a whole table as read from a file. The
    // records of one table share its bytes until one of them is changed.
    Record(const RecordLayout& layout, const QByteArray& table, qsizetype offset)
        : layout_(&layout), storage_(table), offset_(offset) {}

    const RecordLayout& layout() const { return *layout_; }
    QByteArray bytes() const;
    // This record's own bytes, to be changed in place.
    QByteArray& bytes();

    // Text fields blank, numbers zero: the state a read beyond the end of a file leaves.
    void clear();

    qint16 i16(std::string_view name) const;
    qint32 i32(std::string_view name) const;
    float f32(std::string_view name) const;
    int chr(std::string_view name) const;
    // The text trimmed of blanks on both sides; NUL bytes are not blanks and stay.
    QByteArray str(std::string_view name) const;
    // The same, as a person reads it (CP437).
    QString text(std::string_view name) const;

    void setI16(std::string_view name, qint16 value);
    void setI32(std::string_view name, qint32 value);
    void setF32(std::string_view name, float value);
    void setChr(std::string_view name, int code);
    // Cut to the field's width, padded with blanks.
    void setStr(std::string_view name, const QByteArray& value);
    void setText(std::string_view name, const QString& value);

  private:
    const Field& field(std::string_view name, FieldType type) const;
    char* at(const Field& f) { return bytes().data() + f.offset; }
    const char* at(const Field& f) const { return storage_.constData() + offset_ + f.offset; }

    const RecordLayout* layout_;
    QByteArray storage_;
    qsizetype offset_ = 0;
};

QByteArray trimBlanks(const QByteArray& text);
