#include "platform/Cp437.h"
#include "platform/DosPath.h"
#include "platform/PlatformSettings.h"
#include "platform/Wildcard.h"
#include "support/TestBoard.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

void touch(const QString& path) {
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly)) << path.toStdString();
}

class DosPathTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(QDir().mkpath(root.path() + QStringLiteral("/Keld/Text")));
        touch(root.path() + QStringLiteral("/Keld/Text/netonly.txt"));
        drives.map(QLatin1Char('c'), root.path());
    }
    QString resolve(const QString& dos, const QString& base = QStringLiteral("/nonexistent")) {
        const ResolvedPath r = resolveDosPath(drives, dos, base);
        EXPECT_TRUE(r.ok()) << dos.toStdString();
        return r.path;
    }

    QTemporaryDir root;
    DriveMap drives;
};

TEST_F(DosPathTest, ComponentsMatchWhatExistsWhateverTheCase) {
    const QString text = root.path() + QStringLiteral("/Keld/Text");
    EXPECT_EQ(resolve(QStringLiteral("C:\\KELD\\TEXT\\NETONLY.TXT")),
              text + QStringLiteral("/netonly.txt"));
    EXPECT_EQ(resolve(QStringLiteral("  c:\\keld\\text  ")), text);
    // A name that does not exist yet keeps the spelling the board wrote; its directory is found.
    EXPECT_EQ(resolve(QStringLiteral("C:\\KELD\\TEXT\\NewFile.DAT")),
              text + QStringLiteral("/NewFile.DAT"));
    EXPECT_EQ(resolve(QStringLiteral("C:\\KELD\\NEWDIR\\A.TXT")),
              root.path() + QStringLiteral("/Keld/NEWDIR/A.TXT"));
    EXPECT_EQ(resolve(QStringLiteral("\\KELD\\TEXT")), text);
    EXPECT_EQ(resolve(QStringLiteral("TEXT\\NETONLY.TXT"), root.path() + QStringLiteral("/Keld")),
              text + QStringLiteral("/netonly.txt"));
    EXPECT_EQ(resolve(QStringLiteral("C:\\KELD\\TEXT\\..\\TEXT\\.\\netonly.txt")),
              text + QStringLiteral("/netonly.txt"));
    // Native paths need no drive map, and are matched the same way.
    EXPECT_EQ(resolveDosPath(DriveMap(), root.path() + QStringLiteral("/KELD/TEXT"), {}).path,
              text);
}

TEST_F(DosPathTest, AnUnmappedDriveIsNamed) {
    const ResolvedPath r = resolveDosPath(drives, QStringLiteral("d:\\KELD"), root.path());
    EXPECT_FALSE(r.ok());
    EXPECT_EQ(r.unmappedDrive, QLatin1Char('D'));
    EXPECT_TRUE(r.path.isEmpty());
    const QString text = unmappedDriveMessage(r.unmappedDrive, QStringLiteral(" d:\\KELD "));
    for (const char* part : {"D:", "d:\\KELD", "D=/", "KELDTS.INI"})
        EXPECT_TRUE(text.contains(QLatin1String(part))) << part << " in " << text.toStdString();
    // A rooted path without a drive is on drive C, which must be mapped too.
    EXPECT_EQ(resolveDosPath(DriveMap(), QStringLiteral("\\KELD"), root.path()).unmappedDrive,
              QLatin1Char('C'));
    EXPECT_EQ(joinDosPath(QStringLiteral(" C:\\KELD  "), QStringLiteral("MAIN.CFG")),
              QStringLiteral("C:\\KELD\\MAIN.CFG"));
}

TEST(Wildcard, FollowsDosRules) {
    const struct {
        const char* pattern;
        QStringList match, miss;
    } cases[] = {
        {"KELDTS.???",
         {"KELDTS.LOG", "keldts.old", "KELDTS.1", "KELDTS"},
         {"KELDTS.LOGS", "KELDTSX.LOG"}},
        {"*.BAT", {"ktsn12.bat"}, {"KTSN1.BAK", "BAT"}},
        {"KTSN?.BAT", {"KTSN1.BAT", "KTSN.BAT"}, {"KTSN12.BAT"}},
        {"K?TS.CFG", {"KXTS.CFG"}, {"KTS.CFG"}},
        {"*.*", {"NOEXT"}, {}},
        {"*", {"A.B"}, {}},
        {"TEXT*.DAT", {"TEXT12.DAT"}, {"TEXT12.DAX"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pattern);
        for (const QString& name : c.match)
            EXPECT_TRUE(matchesDosWildcard(QLatin1String(c.pattern), name)) << qPrintable(name);
        for (const QString& name : c.miss)
            EXPECT_FALSE(matchesDosWildcard(QLatin1String(c.pattern), name)) << qPrintable(name);
    }
    EXPECT_TRUE(hasDosWildcard(QStringLiteral("A?.B")));
    EXPECT_FALSE(hasDosWildcard(QStringLiteral("A.B")));
}

TEST(Cp437, BytesSurviveTheRoundTripAndTheLineCharacterIsBoxDrawing) {
    QByteArray all;
    for (int b = 0; b < 256; ++b)
        all.append(static_cast<char>(b));
    const QString text = cp437::toUnicode(all);
    ASSERT_EQ(text.size(), 256);
    EXPECT_EQ(cp437::fromUnicode(text), all);
    EXPECT_EQ(text.at(0xC4), QChar(0x2500));
    EXPECT_EQ(cp437::fromUnicode(QStringLiteral("Ç─é")), QByteArray("\x80\xC4\x82"));
    EXPECT_EQ(cp437::fromUnicode(QStringLiteral("a€b")), QByteArray("a?b"));
}

TEST(PlatformSettings, ReadsDrivesAndNotesWhatItCannotUse) {
    QTemporaryDir dir;
    const QString ini = dir.filePath(QStringLiteral("KELDTS.INI"));
    {
        QFile f(ini);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write("; board on this machine\n[Drives]\nc = /srv/keld/ ; the board\nDD=/nowhere\n"
                "[Dos]\nrun=dosbox -c \"x;y\" {batch}\n[Nodes]\nhost=Process\nwhat is this\n");
    }
    const PlatformSettings s = readPlatformSettings(ini);
    EXPECT_EQ(s.drives.directoryOf(QLatin1Char('C')), "/srv/keld");
    EXPECT_FALSE(s.drives.isMapped(QLatin1Char('D')));
    EXPECT_EQ(s.dosRun, "dosbox -c \"x;y\" {batch}");
    EXPECT_EQ(s.nodeHost, "process");
    ASSERT_EQ(s.problems.size(), 2);
    EXPECT_TRUE(s.problems[0].contains(QStringLiteral("line 4")));

    const PlatformSettings none = readPlatformSettings(dir.filePath(QStringLiteral("ABSENT.INI")));
    EXPECT_TRUE(none.drives.isEmpty());
    EXPECT_EQ(none.nodeHost, "tmux");

    // The demo's settings, which every board test resolves its files through, are all usable.
    const TestBoard demo;
    EXPECT_TRUE(demo.board->platform.problems.isEmpty())
        << demo.board->platform.problems.join(QLatin1Char('|')).toStdString();
}

} // namespace
