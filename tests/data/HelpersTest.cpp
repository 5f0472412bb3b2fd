#include "data/AccessFlags.h"
#include "data/FileHelpers.h"
#include "data/KeyFilters.h"
#include "data/TextHelpers.h"
#include "data/TimeRules.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

QString s(const char* text) {
    return QString::fromLatin1(text);
}

TEST(TextHelpers, PaddingCutsAndPlacesThePad) {
    EXPECT_EQ(padString(s("HELLO"), 3), s("HEL"));
    EXPECT_EQ(padString(s("AB"), 5, s(" "), s(" pad_center ")), s(" AB  "));
    EXPECT_EQ(padString(s("AB"), 5, s("*-"), s("PAD_LEFT")), s("***AB"));
    EXPECT_EQ(padString(s("AB"), 4, s(""), s("nonsense")), s("AB  "));
}

TEST(TextHelpers, SplittingKeepsTheRestAndFillsMissingEntries) {
    EXPECT_EQ(splitText(s(":"), s("12"), 2, 2), QStringList({s("12"), s("")}));
    EXPECT_EQ(splitText(s("x"), s("aXbxcXd"), 2, 0), QStringList({s("a"), s("bxcXd")}));
    EXPECT_EQ(splitText(s(","), s("a,b,c"), 0, 5),
              QStringList({s("a"), s("b"), s("c"), s(""), s("")}));
}

TEST(TextHelpers, ReplacingHonoursLimitAndNeverLoops) {
    EXPECT_EQ(replaceText(s("a-a-a"), s("a"), s("bb")), s("bb-bb-bb"));
    EXPECT_EQ(replaceText(s("a-a-a"), s("a"), s("b"), 2), s("b-b-a"));
    EXPECT_EQ(replaceText(s("aaaa"), s("aa"), s("a"), 0, true), s("a"));
    EXPECT_EQ(replaceText(s("aaaa"), s("aa"), s("a"), 0, false), s("aa"));
    EXPECT_EQ(replaceText(s("xAx"), s("a"), s("b")), s("xAx")); // binary compare
    // A replacement that brings the text back cannot be restarted for ever.
    EXPECT_EQ(replaceText(s("ab"), s("a"), s("aa"), 0, true), s("aab"));
}

TEST(TextHelpers, CrLfTrimmingAndColourCodes) {
    EXPECT_EQ(trimCrLf(s("\r\n \r\nText \r\n\r\n")), s("Text"));
    EXPECT_EQ(trimCrLf(s("\r\n Text \r\n"), true), s(" Text "));
    EXPECT_EQ(stripColorCodes(s("\0031Hi \0032there\003")), s("Hi there"));
    EXPECT_EQ(sortedWords(s("pear,Apple,banana"), s(",")), s("Apple,banana,pear"));
}

TEST(TextHelpers, NumbersTypedByPeople) {
    EXPECT_EQ(toInt16(s("100000")), 32767);
    EXPECT_EQ(toInt16(s("  12.6abc")), 13);
    EXPECT_EQ(toInt16(s("x12")), 0);
    EXPECT_EQ(toInt32(s("99999999999")), 2147483647);
    EXPECT_EQ(truncateNumber(-7.9), -7.0);
    EXPECT_EQ(toCheck(-3), 1);
    EXPECT_EQ(buildUptimeText(90061, true), s("1d 1h 1m 1s"));
    EXPECT_EQ(buildUptimeText(59, false), s("0 days, 0 hours, 0 minutes, 59 seconds"));
}

TEST(AccessFlags, LettersAndBitsRoundTrip) {
    EXPECT_EQ(accessflags::toText(5), s("AC"));
    EXPECT_EQ(accessflags::fromText(s("c a a")), 5);
    EXPECT_EQ(accessflags::toText(accessflags::fromText(s("zyxA"))), s("AXYZ"));
    EXPECT_EQ(accessflags::toText(0), s(""));
    EXPECT_EQ(accessflags::toMask(s("ca")), s("A C") + QString(23, QLatin1Char(' ')));
    EXPECT_EQ(accessflags::normalizeLetters(s("d c:d1a")), s("DCA"));
}

TEST(KeyFilters, EachBoxTakesOnlyItsKeys) {
    for (char key : {'\\', '~', '_', '.', ' ', '*'})
        EXPECT_EQ(keyfilter::isPathKey(key), QByteArray("\\~_").contains(key)) << key;
    EXPECT_TRUE(keyfilter::isFileNameKey('.', s("whatever")));
    EXPECT_FALSE(keyfilter::isFileNameKey('.', s(" forbid_ext")));
    EXPECT_TRUE(keyfilter::isNumberKey('.') && keyfilter::isNumberKey(keyfilter::kBackspace));
    EXPECT_FALSE(keyfilter::isNumberKey('-') || keyfilter::isLetterKey('1'));
}

TEST(TimeRules, TimesAndDays) {
    EXPECT_EQ(normalizeTime(s("7:5")), s("07:05"));
    EXPECT_EQ(normalizeTime(s("24:60")), s("00:00"));
    EXPECT_EQ(normalizeTime(s("")), s("00:00"));
    EXPECT_EQ(normalizeTime(s(" 23:59x")), s("23:59"));
    EXPECT_EQ(dayNumber(3, 1, 2024) - dayNumber(2, 28, 2024), 2); // a leap day between
    const QDate today(2026, 11, 23);
    EXPECT_EQ(ageInYears(today, today), 0);
    EXPECT_EQ(ageInYears(QDate(1990, 11, 24), today), 35);
    EXPECT_EQ(unixTimeNow(QDateTime(QDate(1970, 1, 2), QTime(1, 0)), 100), 86400);
}

class FileHelpersTest : public ::testing::Test {
  protected:
    QString path(const char* name) const { return dir.filePath(QLatin1String(name)); }
    void write(const char* name, const QByteArray& bytes) {
        QFile f(path(name));
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(bytes);
    }
    QTemporaryDir dir;
};

TEST_F(FileHelpersTest, ExistenceWithAndWithoutWildcards) {
    ASSERT_TRUE(QDir(dir.path()).mkdir(s("SUB")));
    ASSERT_TRUE(filehelpers::touchFile(path("KELDTS.1"), false));
    EXPECT_TRUE(filehelpers::fileExists(path("KELDTS.???")));
    EXPECT_TRUE(filehelpers::fileExists(s("  ") + path("KELDTS.1") + s(" ")));
    EXPECT_FALSE(filehelpers::fileExists(path("SUB")));
    EXPECT_TRUE(filehelpers::dirExists(path("S*")));
    EXPECT_FALSE(filehelpers::dirExists(path("KELDTS.*")));
    EXPECT_FALSE(filehelpers::fileExists(s("")));
}

TEST_F(FileHelpersTest, TouchAndTextFilesReplaceOnlyWhenAsked) {
    ASSERT_TRUE(filehelpers::writeTextFile(path("A.TXT"), s("  keep me  ")));
    EXPECT_EQ(filehelpers::readWholeFile(path("A.TXT")), QByteArray("keep me\r\n"));
    ASSERT_TRUE(filehelpers::touchFile(path("A.TXT"), false));
    EXPECT_EQ(QFile(path("A.TXT")).size(), 9);
    ASSERT_TRUE(filehelpers::touchFile(path("A.TXT"), true));
    EXPECT_EQ(QFile(path("A.TXT")).size(), 0);
    ASSERT_TRUE(filehelpers::writeTextFile(path("B.TXT"), s("   ")));
    EXPECT_TRUE(QFile::exists(path("B.TXT")) && QFile(path("B.TXT")).size() == 0);
}

TEST_F(FileHelpersTest, KeyValuesAndWholeFiles) {
    write("K.INI", "x=1\r\n A =b=c\r\na=second\r\n");
    EXPECT_EQ(filehelpers::getKeyValue(s("a"), path("K.INI")), s("b=c"));
    EXPECT_EQ(filehelpers::getKeyValue(s("nope"), path("K.INI")), s(""));
    EXPECT_EQ(filehelpers::getKeyValue(s("a"), path("MISSING.INI")), s(""));
    write("Z.BIN", QByteArray("abc\0def", 7));
    EXPECT_EQ(filehelpers::readWholeFile(path("Z.BIN")), QByteArray("abc"));
}

TEST_F(FileHelpersTest, LockedOnlyWhileAnotherHoldsALock) {
    ASSERT_TRUE(filehelpers::touchFile(path("USERFILE.DAT"), false));
    EXPECT_FALSE(filehelpers::isFileLocked(path("USERFILE.DAT"), s("read write")));
    EXPECT_FALSE(filehelpers::isFileLocked(path("NONE.DAT"), s("WRITE")));
    // A record lock held by another process, as a node program would hold one.
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t holder = ::fork();
    if (holder == 0) {
        const int fd = ::open(QFile::encodeName(path("USERFILE.DAT")).constData(), O_RDWR);
        struct flock lock {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        ::fcntl(fd, F_SETLKW, &lock);
        [[maybe_unused]] ssize_t n = ::write(ready[1], "x", 1);
        ::pause();
        _exit(0);
    }
    char byte;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    EXPECT_TRUE(filehelpers::isFileLocked(path("USERFILE.DAT"), s("READ")));
    ::kill(holder, SIGKILL);
    ::waitpid(holder, nullptr, 0);
    EXPECT_FALSE(filehelpers::isFileLocked(path("USERFILE.DAT"), s("READ")));
}

TEST_F(FileHelpersTest, LongAndShortPaths) {
    ASSERT_TRUE(QDir(dir.path()).mkpath(s("Keld/Long Directory Name")));
    EXPECT_EQ(filehelpers::longPath(path("KELD/long directory NAME")),
              path("Keld/Long Directory Name"));
    EXPECT_EQ(filehelpers::longPath(path("KELD/absent")), s(""));
    DriveMap drives;
    drives.map(QLatin1Char('c'), dir.path());
    EXPECT_EQ(filehelpers::shortPath(drives, path("Keld/Long Directory Name")),
              s("C:\\KELD\\LONGDI~1"));
    EXPECT_EQ(filehelpers::shortPath(drives, dir.path()), s("C:\\"));
    EXPECT_EQ(filehelpers::shortPath(drives, s("/elsewhere/x")), s("/elsewhere/x"));
}

} // namespace
