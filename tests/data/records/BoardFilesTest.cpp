#include "data/records/BoardFiles.h"
#include "data/RecordFile.h"
#include "data/RecordList.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <set>

namespace {

struct Expected {
    std::string_view name;
    int length;
    std::string_view directory;
};

// Lengths and homes as the node programs know them.
constexpr Expected kExpected[] = {
    {"CHANNELS.CFG", 64, "main"},  {"CHANNELX.CFG", 204, "main"}, {"CONTROL.DAT", 106, "control"},
    {"DATABASE.CFG", 131, "main"}, {"DBGROUP.CFG", 128, "main"},  {"DOORS.CFG", 74, "main"},
    {"DOWNLOAD.CFG", 73, "main"},  {"EMAIL.DAT", 582, "db"},      {"EVENTS.CFG", 45, "main"},
    {"KELDTS.CFG", 148, "main"},   {"KELDTS.DAT", 12, "main"},    {"KELDTSIP.DAT", 15, "main"},
    {"KELDTSTR.DAT", 600, "main"}, {"KTSDATA.DAT", 66, "main"},   {"MAIN.CFG", 372, "main"},
    {"MULTIFBX.CFG", 166, "main"}, {"QUICKVAL.CFG", 8, "main"},   {"RANDOM.CFG", 210, "main"},
    {"STATKBBS.DAT", 88, "dat"},   {"SYSPATHS.CFG", 400, "main"}, {"TEXTn.DAT", 44, "dat"},
    {"TEXTSECT.CFG", 67, "main"},  {"UPLOAD.CFG", 73, "main"},    {"USERFILE.DAT", 1048, "dat"},
    {"USERFILE.IDX", 82, "dat"},   {"VOTE.CFG", 546, "main"},     {"VOTEn.DAT", 2, "dat"},
};

QByteArray randomBytes(QRandomGenerator& random, qsizetype size) {
    QByteArray bytes(size, '\0');
    for (char& c : bytes)
        c = static_cast<char>(random.bounded(256));
    return bytes;
}

void writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_EQ(file.write(bytes), bytes.size());
}

TEST(BoardFiles, EveryFileHasItsLengthDirectoryAndDistinctFields) {
    ASSERT_EQ(boardFiles().size(), std::size(kExpected));
    for (const Expected& expected : kExpected) {
        SCOPED_TRACE(expected.name);
        const BoardFile* file = findBoardFile(expected.name);
        ASSERT_NE(file, nullptr);
        const RecordLayout& layout = file->layout();
        EXPECT_EQ(layout.fileName, expected.name);
        EXPECT_EQ(layout.length, expected.length);
        EXPECT_EQ(file->directory, expected.directory);
        EXPECT_TRUE(layout.isContiguous());
        std::set<std::string_view> names;
        for (const Field& field : layout.fields)
            EXPECT_TRUE(names.insert(field.name).second) << "twice: " << field.name;
    }
}

// The channel form copies CHANNELX.CFG into CHANNELS.CFG by name, the index is rebuilt from
// the user file by name, and both protocol tables are served by one pair of forms.
TEST(BoardFiles, CompanionFilesAgreeOnSharedFields) {
    const auto expectSubset = [](const RecordLayout& part, const RecordLayout& whole,
                                 std::set<std::string_view> ownFields = {}) {
        SCOPED_TRACE(testing::Message() << part.fileName << " in " << whole.fileName);
        for (const Field& field : part.fields) {
            if (field.name.starts_with("reserved") || ownFields.contains(field.name))
                continue;
            const Field* other = whole.find(field.name);
            ASSERT_NE(other, nullptr) << field.name;
            EXPECT_EQ(other->type, field.type) << field.name;
            EXPECT_EQ(other->width, field.width) << field.name;
        }
    };
    expectSubset(channelsLayout(), channelXLayout());
    expectSubset(userIndexLayout(), userLayout(), {"usernumber"});
    expectSubset(uploadLayout(), downloadLayout());
    expectSubset(downloadLayout(), uploadLayout());
}

// Random bytes cover every value a node program might leave in a field, blanks and NULs at the
// edges of text included; none of it may be lost or moved on the way through a record.
TEST(BoardFiles, RecordsRoundTripByteForByteAndLeaveAPartialTail) {
    QTemporaryDir dir;
    QRandomGenerator random(20240607);
    for (const BoardFile& file : boardFiles()) {
        SCOPED_TRACE(file.name);
        const RecordLayout& layout = file.layout();
        const int records = random.bounded(1, 4);
        const int tail = random.bounded(1, layout.length);
        const QByteArray original = randomBytes(random, qsizetype(records) * layout.length + tail);

        // The copy differs in every byte of every whole record and shares the tail.
        QByteArray inverted = original;
        for (qsizetype i = 0; i < qsizetype(records) * layout.length; ++i)
            inverted[i] = static_cast<char>(~inverted[i]);
        const QString source = dir.filePath(QString::fromLatin1(file.name));
        const QString copy = source + QStringLiteral(".copy");
        writeFile(source, original);
        writeFile(copy, inverted);

        qint16 count = 0;
        QString error;
        ASSERT_TRUE(recordlist::count(source, layout, &count, &error)) << error.toStdString();
        ASSERT_EQ(count, records);
        // Last record first, so each write must land at its own offset.
        for (int number = records; number >= 1; --number) {
            Record record(layout);
            ASSERT_TRUE(recordfile::read(source, number, record, &error)) << error.toStdString();
            ASSERT_TRUE(recordfile::write(copy, number, record, &error)) << error.toStdString();
        }
        QFile result(copy);
        ASSERT_TRUE(result.open(QIODevice::ReadOnly));
        EXPECT_EQ(result.readAll(), original);
    }
}

} // namespace
