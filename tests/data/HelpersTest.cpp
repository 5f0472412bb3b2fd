#include "data/AccessFlags.h"
#include "data/FileHelpers.h"
#include "data/TextHelpers.h"
#include "data/TimeRules.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

QString s(const char* text) {
    return QString::fromLatin1(text);
}

TEST(TextHelpers, NumbersTypedByPeople) {
    EXPECT_EQ(toInt16(s("100000")), 32767);
    EXPECT_EQ(toInt16(s("-100000")), -32768);
    EXPECT_EQ(toInt16(s("  12.6abc")), 13);
    EXPECT_EQ(toInt16(s("x12")), 0);
    EXPECT_EQ(toInt32(s("99999999999")), 2147483647);
    EXPECT_EQ(leadingNumber(u" 010.5"), 10);
    EXPECT_EQ(toCheck(-3), 1);
    EXPECT_EQ(buildUptimeText(90061, true), s("1d 1h 1m 1s"));
    EXPECT_EQ(buildUptimeText(59, false), s("0 days, 0 hours, 0 minutes, 59 seconds"));
}

TEST(TextHelpers, TimesAndLetters) {
    EXPECT_EQ(normalizeTime(s("7:5")), s("07:05"));
    EXPECT_EQ(normalizeTime(s("24:60")), s("00:00"));
    EXPECT_EQ(normalizeTime(s("")), s("00:00"));
    EXPECT_EQ(normalizeTime(s(" 23:59x")), s("23:59"));
    EXPECT_EQ(accessflags::normalizeLetters(s("d c:d1a")), s("DCA"));
}

TEST(FileHelpers, ExistenceWithAndWithoutWildcardsAndTouch) {
    QTemporaryDir dir;
    const auto path = [&](const char* name) { return dir.filePath(QLatin1String(name)); };
    ASSERT_TRUE(QDir(dir.path()).mkdir(s("SUB")));
    ASSERT_TRUE(filehelpers::touchFile(path("KELDTS.1"), false).ok());
    EXPECT_TRUE(filehelpers::fileExists(path("KELDTS.???")));
    EXPECT_TRUE(filehelpers::fileExists(s("  ") + path("KELDTS.1") + s(" ")));
    EXPECT_FALSE(filehelpers::fileExists(path("SUB")));
    EXPECT_TRUE(filehelpers::dirExists(path("S*")));
    EXPECT_FALSE(filehelpers::dirExists(path("KELDTS.*")));
    EXPECT_FALSE(filehelpers::fileExists(s("")));

    QFile file(path("KELDTS.1"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("kept");
    file.close();
    ASSERT_TRUE(filehelpers::touchFile(path("KELDTS.1"), false).ok());
    EXPECT_EQ(file.size(), 4);
    ASSERT_TRUE(filehelpers::touchFile(path("KELDTS.1"), true).ok());
    EXPECT_EQ(file.size(), 0);
    EXPECT_FALSE(filehelpers::touchFile(path("SUB"), true).ok());
}

} // namespace
