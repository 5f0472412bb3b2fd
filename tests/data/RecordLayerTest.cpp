#include "data/RecordFile.h"
#include "data/RecordList.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <array>

namespace {

constexpr std::array kFields{
    Field{"name", 0, FieldType::Str, 6},    Field{"level", 6, FieldType::I16, 2},
    Field{"credits", 8, FieldType::I32, 4}, Field{"ratio", 12, FieldType::F32, 4},
    Field{"flag", 16, FieldType::Chr, 1},
};
const RecordLayout kLayout{"TEST.DAT", 17, kFields};

class RecordLayerTest : public ::testing::Test {
  protected:
    void writeBytes(const QByteArray& bytes) {
        QFile f(path);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(bytes);
    }
    QByteArray fileBytes() {
        QFile f(path);
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }
    static Record named(const char* name) {
        Record r(kLayout);
        r.setStr("name", name);
        return r;
    }
    QTemporaryDir dir;
    QString path = dir.filePath(QStringLiteral("TEST.DAT"));
    QString error;
};

TEST_F(RecordLayerTest, FieldsAreLittleEndianTrimmedAndCut) {
    Record r(kLayout);
    r.setStr("name", "  ABCDEFGH");
    r.setI16("level", -2);
    r.setI32("credits", 0x01020304);
    r.setF32("ratio", 1.5f);
    r.setChr("flag", 1);
    EXPECT_EQ(r.bytes(), QByteArray("  ABCD\xfe\xff\x04\x03\x02\x01\x00\x00\xc0\x3f\x01", 17));
    EXPECT_EQ(r.str("name"), QByteArray("ABCD"));
    EXPECT_EQ(r.i16("level"), -2);
    EXPECT_EQ(r.f32("ratio"), 1.5f);
    EXPECT_EQ(r.chr("flag"), 1);
    r.setStr("name", "AB");
    EXPECT_EQ(r.bytes().left(6), QByteArray("AB    "));
}

TEST_F(RecordLayerTest, NulBytesAreNotBlanksAndReadingPastTheEndChangesNothing) {
    writeBytes(QByteArray("\0AB\0  ", 6) + QByteArray(11, '\0') + "tail");
    Record r(kLayout);
    ASSERT_TRUE(recordfile::read(path, 1, r, &error));
    EXPECT_EQ(r.str("name"), QByteArray("\0AB\0", 4));
    r.setI16("level", 7);
    ASSERT_TRUE(recordfile::read(path, 3, r, &error));
    EXPECT_EQ(r.i16("level"), 7);
    EXPECT_EQ(r.str("name"), QByteArray("\0AB\0", 4));
    EXPECT_FALSE(recordfile::read(dir.filePath(QStringLiteral("NONE.DAT")), 1, r, &error));
}

TEST_F(RecordLayerTest, TooManyRecordsForACountAreRefused) {
    writeBytes({});
    ASSERT_TRUE(QFile(path).resize(qint64(32768) * 17));
    qint16 n = 0;
    EXPECT_FALSE(recordlist::count(path, kLayout, &n, &error));
}

TEST_F(RecordLayerTest, APartialTailIsNotCountedAndSurvivesSingleWrites) {
    const Record a = named("ALPHA"), b = named("BRAVO");
    writeBytes(a.bytes() + b.bytes() + "tail");
    qint16 n = 0;
    ASSERT_TRUE(recordlist::count(path, kLayout, &n, &error));
    EXPECT_EQ(n, 2);
    // Records read as one table still change one at a time.
    QList<Record> all;
    ASSERT_TRUE(recordlist::readAll(path, kLayout, &all, &error));
    ASSERT_EQ(all.size(), 2);
    Record copy = all[1];
    all[1].setStr("name", "ZULU");
    EXPECT_EQ(all[0].str("name"), QByteArray("ALPHA"));
    EXPECT_EQ(all[1].str("name"), QByteArray("ZULU"));
    EXPECT_EQ(copy.str("name"), QByteArray("BRAVO"));
    EXPECT_EQ(all[1].bytes().size(), 17);

    ASSERT_TRUE(recordfile::write(path, 1, b, &error));
    EXPECT_TRUE(fileBytes().endsWith("tail"));
    int number = 0;
    ASSERT_TRUE(recordlist::append(path, a, &number, &error));
    EXPECT_EQ(number, 3);
    EXPECT_EQ(fileBytes().size(), 3 * 17);
    ASSERT_TRUE(recordfile::write(dir.filePath(QStringLiteral("NEW.DAT")), 2, a, &error));
    EXPECT_EQ(QFile(dir.filePath(QStringLiteral("NEW.DAT"))).size(), 34);
}

TEST_F(RecordLayerTest, CompactionAndMovesKeepOrderAndDropOnlyMarkedEntries) {
    ASSERT_TRUE(recordlist::replace(
        path, {named("ONE"), named("##$$##"), named("TWO"), named("THREE")}, &error));
    writeBytes(fileBytes() + "xx");
    ASSERT_TRUE(recordlist::compact(path, kLayout, "name", &error));
    const QString work = dir.filePath(recordlist::workFileName(QStringLiteral("TEST.DAT")));
    EXPECT_EQ(recordlist::workFileName(QStringLiteral("TEXT12.DAT")), QStringLiteral("TEXT12.TMP"));
    ASSERT_TRUE(recordlist::move(path, work, kLayout, 3, true, &error));
    ASSERT_TRUE(recordlist::move(path, work, kLayout, 1, true, &error));  // the first cannot go up
    ASSERT_TRUE(recordlist::move(path, work, kLayout, 3, false, &error)); // the last cannot go down
    QList<Record> after;
    ASSERT_TRUE(recordlist::readAll(path, kLayout, &after, &error));
    QStringList names;
    for (const Record& r : after)
        names << r.text("name");
    EXPECT_EQ(names, QStringList({"ONE", "THREE", "TWO"}));
    EXPECT_EQ(fileBytes().size(), 3 * 17);
    EXPECT_FALSE(QFile::exists(work));
    EXPECT_FALSE(QFile::exists(path + QStringLiteral(".NEW")));
}

} // namespace
