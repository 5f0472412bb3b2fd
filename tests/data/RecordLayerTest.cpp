#include "data/RecordFile.h"
#include "data/RecordTable.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <array>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr std::array kFields{
    Field{"name", 0, FieldType::Str, 6},    Field{"level", 6, FieldType::I16, 2},
    Field{"credits", 8, FieldType::I32, 4}, Field{"ratio", 12, FieldType::F32, 4},
    Field{"flag", 16, FieldType::Chr, 1},
};
const RecordLayout kLayout{"TEST.DAT", 17, kFields};

Record named(const char* name, int level = 0) {
    Record r(kLayout);
    r.setStr("name", name);
    r.setI16("level", static_cast<qint16>(level));
    return r;
}

// The bytes of a table of records with these names.
QByteArray table(std::initializer_list<const char*> names) {
    QByteArray bytes;
    for (const char* name : names)
        bytes += named(name).bytes();
    return bytes;
}

class RecordLayerTest : public ::testing::Test {
  protected:
    void writeBytes(const QByteArray& bytes, const QString& to = {}) {
        QFile f(to.isEmpty() ? path : to);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(bytes);
    }
    QByteArray fileBytes() const {
        QFile f(path);
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }
    QStringList names() const {
        QStringList out;
        const Result<QList<Record>> all = recordtable::read(path, kLayout);
        EXPECT_TRUE(all.ok()) << all.error().toStdString();
        for (const Record& r : all.value())
            out << r.text("name") + QString::number(r.i16("level"));
        return out;
    }
    // A structural rewrite that does what `rearrange` does, after `meanwhile` has run between
    // the read and the rename, the moment a node program's write is most at risk.
    Result<> rewriteWith(const recordtable::Rearrange& rearrange,
                         const std::function<void()>& meanwhile) {
        return recordtable::rewrite(path, kLayout, [&](const QList<Record>& records) {
            meanwhile();
            return rearrange(records);
        });
    }
    static std::optional<recordtable::Rearrangement> dropFirst(const QList<Record>& records) {
        recordtable::Rearrangement kept{records.mid(1), {-1}};
        for (int i = 1; i < records.size(); ++i)
            kept.placeOfOld.append(i - 1);
        return kept;
    }

    QTemporaryDir dir;
    QString path = dir.filePath(QStringLiteral("TEST.DAT"));
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
    EXPECT_EQ(r.f32("ratio"), 1.5f);
    r.setStr("name", "AB"); // the rest of the record as it was
    EXPECT_EQ(r.bytes(), QByteArray("AB    \xfe\xff\x04\x03\x02\x01\x00\x00\xc0\x3f\x01", 17));
}

TEST_F(RecordLayerTest, NulsAreNoBlanksReadsPastTheEndChangeNothingAndAPartialTailIsKept) {
    writeBytes(QByteArray("\0AB\0  ", 6) + QByteArray(11, '\0') + "tail");
    Record r(kLayout);
    ASSERT_TRUE(recordfile::read(path, 1, r).ok());
    EXPECT_EQ(r.str("name"), QByteArray("\0AB\0", 4));
    r.setI16("level", 7);
    ASSERT_TRUE(recordfile::read(path, 3, r).ok());
    EXPECT_EQ(r.i16("level"), 7);
    EXPECT_FALSE(recordfile::read(dir.filePath(QStringLiteral("NONE.DAT")), 1, r).ok());

    const Record a = named("ALPHA"), b = named("BRAVO");
    writeBytes(a.bytes() + b.bytes() + "tail");
    EXPECT_EQ(recordtable::count(path, kLayout).value(), 2);
    // Records read as one table still change one at a time.
    Result<QList<Record>> all = recordtable::read(path, kLayout);
    ASSERT_EQ(all.value().size(), 2);
    const Record copy = all.value()[1];
    all.value()[1].setStr("name", "ZULU");
    EXPECT_EQ(all.value()[0].str("name"), QByteArray("ALPHA"));
    EXPECT_EQ(copy.str("name"), QByteArray("BRAVO"));

    ASSERT_TRUE(recordfile::write(path, 1, b).ok());
    EXPECT_TRUE(fileBytes().endsWith("tail"));
    EXPECT_EQ(recordtable::append(path, a).value(), 3);
    EXPECT_EQ(fileBytes().size(), 3 * 17);
    ASSERT_TRUE(recordfile::write(dir.filePath(QStringLiteral("NEW.DAT")), 2, a).ok());
    EXPECT_EQ(QFile(dir.filePath(QStringLiteral("NEW.DAT"))).size(), 34);

    ASSERT_TRUE(QFile(path).resize(qint64(32768) * 17));
    EXPECT_FALSE(recordtable::count(path, kLayout).ok());
    EXPECT_FALSE(recordtable::read(path, kLayout).ok());
}

TEST_F(RecordLayerTest, CompactionAndMovesKeepOrderDropOnlyMarkedEntriesAndKeepTheMode) {
    writeBytes(table({"ONE", "##$$##", "TWO", "THREE"}) + "xx");
    // A table the node programs share through their group must stay theirs to write.
    ASSERT_EQ(::chmod(QFile::encodeName(path).constData(), 0664), 0);
    struct stat before {};
    ASSERT_EQ(::stat(QFile::encodeName(path).constData(), &before), 0);

    // The entry removed and the one an earlier program marked go together.
    ASSERT_TRUE(recordtable::remove(path, kLayout, "name", 4).ok());
    ASSERT_TRUE(recordtable::move(path, kLayout, 2, true).ok());
    ASSERT_TRUE(recordtable::move(path, kLayout, 1, true).ok());  // the first cannot go up
    ASSERT_TRUE(recordtable::move(path, kLayout, 2, false).ok()); // the last cannot go down
    EXPECT_EQ(names(), QStringList({"TWO0", "ONE0"}));
    EXPECT_EQ(fileBytes().size(), 2 * 17);
    EXPECT_FALSE(QFile::exists(path + QStringLiteral(".NEW")));
    struct stat after {};
    ASSERT_EQ(::stat(QFile::encodeName(path).constData(), &after), 0);
    EXPECT_EQ(after.st_mode & 07777, 0664u);
    EXPECT_EQ(after.st_uid, before.st_uid);
    EXPECT_EQ(after.st_gid, before.st_gid);
}

// A table that cannot be read whole is never replaced by the part that was read.
TEST_F(RecordLayerTest, AFailedOrShortReadRewritesNothing) {
    // A kernel file says it holds 4096 bytes and gives a handful: the same as a table cut short
    // by another program between its size being taken and its bytes being read.
    const QString shortFile = QStringLiteral("/sys/devices/system/cpu/online");
    if (QFileInfo(shortFile).size() <= 17)
        GTEST_SKIP() << "no file here that ends before its size";
    ASSERT_TRUE(QFile::link(shortFile, path));
    // And names that are no files at all: a FIFO would hang whoever opens it.
    const QString directory = dir.filePath(QStringLiteral("DIR.DAT"));
    const QString fifo = dir.filePath(QStringLiteral("FIFO.DAT"));
    ASSERT_TRUE(QDir().mkdir(directory));
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    Record record(kLayout);
    EXPECT_FALSE(recordfile::read(fifo, 1, record).ok());
    EXPECT_FALSE(recordfile::write(fifo, 1, record).ok());
    for (const QString& table : {path, directory, fifo}) {
        SCOPED_TRACE(table.toStdString());
        const Result<QList<Record>> read = recordtable::read(table, kLayout);
        ASSERT_FALSE(read.ok());
        EXPECT_TRUE(read.error().contains(table));
        EXPECT_FALSE(recordtable::remove(table, kLayout, "name", 1).ok());
        EXPECT_FALSE(recordtable::move(table, kLayout, 1, false).ok());
        EXPECT_FALSE(QFile::exists(table + QStringLiteral(".NEW")));
    }
    EXPECT_EQ(QFileInfo(path).symLinkTarget(), shortFile);
    EXPECT_TRUE(QFileInfo(directory).isDir());
}

// The node programs write single records whenever they like. What one writes while a table is
// being rewritten lands in the old file; it must reach the new one, at the place its record went.
TEST_F(RecordLayerTest, WritesDuringARewriteGoToTheirRecordsNewPlaceAndNewTablesAreKept) {
    writeBytes(table({"##$$##", "ALPHA", "BRAVO", "CHUCK"}));
    // A record written by another process, as a node program would, waited for.
    const auto nodeWrites = [this](int number, const Record& record) {
        return [=, this] {
            const pid_t child = ::fork();
            if (child == 0)
                ::_exit(recordfile::write(path, number, record).ok() ? 0 : 1);
            int status = -1;
            ASSERT_EQ(::waitpid(child, &status, 0), child);
            EXPECT_EQ(status, 0) << "the write failed";
        };
    };
    ASSERT_TRUE(rewriteWith(dropFirst, nodeWrites(3, named("BRAVO", 7))).ok());
    EXPECT_EQ(names(), QStringList({"ALPHA0", "BRAVO7", "CHUCK0"}));

    // During a move; and a record the node adds behind the last goes behind the new last.
    const auto swapFirstTwo = [](const QList<Record>& records) {
        recordtable::Rearrangement swapped{records, {1, 0, 2}};
        swapped.records.swapItemsAt(0, 1);
        return std::optional(swapped);
    };
    const auto twoWrites = [&] {
        nodeWrites(1, named("ALPHA", 5))();
        nodeWrites(4, named("DELTA", 1))();
    };
    ASSERT_TRUE(rewriteWith(swapFirstTwo, twoWrites).ok());
    EXPECT_EQ(names(), QStringList({"BRAVO7", "ALPHA5", "CHUCK0", "DELTA1"}));

    // A change to a record that the rewrite drops goes with it.
    ASSERT_TRUE(rewriteWith(dropFirst, nodeWrites(1, named("BRAVO", 9))).ok());
    EXPECT_EQ(names(), QStringList({"ALPHA5", "CHUCK0", "DELTA1"}));

    // A whole new table another program put in place meanwhile is read again, or left alone.
    const auto replaceWith = [this](const QByteArray& bytes) {
        const QString other = dir.filePath(QStringLiteral("OTHER"));
        writeBytes(bytes, other);
        EXPECT_EQ(
            ::rename(QFile::encodeName(other).constData(), QFile::encodeName(path).constData()), 0);
    };
    const QByteArray theirs = table({"XRAY", "YANKEE", "ZULU"});
    int reads = 0;
    ASSERT_TRUE(rewriteWith(dropFirst, [&] {
                    if (reads++ == 0)
                        replaceWith(theirs);
                }).ok());
    EXPECT_EQ(reads, 2);
    EXPECT_EQ(names(), QStringList({"YANKEE0", "ZULU0"}));

    const Result<> stopped = rewriteWith(dropFirst, [&] { replaceWith(theirs); });
    ASSERT_FALSE(stopped.ok());
    EXPECT_TRUE(stopped.error().contains(QStringLiteral("nothing was changed")));
    EXPECT_EQ(fileBytes(), theirs);
}

} // namespace
