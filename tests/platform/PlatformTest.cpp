#include "platform/Cp437.h"
#include "platform/DosPath.h"
#include "platform/PlatformSettings.h"
#include "platform/Wildcard.h"

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
    EXPECT_TRUE(text.contains(QStringLiteral("D:"))) << text.toStdString();
    EXPECT_TRUE(text.contains(QStringLiteral("d:\\KELD"))) << text.toStdString();
    EXPECT_TRUE(text.contains(QStringLiteral("D=/"))) << text.toStdString();
    EXPECT_TRUE(text.contains(QStringLiteral("KELDTS.INI"))) << text.toStdString();
    // A rooted path without a drive is on drive C, which must be mapped too.
    EXPECT_EQ(resolveDosPath(DriveMap(), QStringLiteral("\\KELD"), root.path()).unmappedDrive,
              QLatin1Char('C'));
    EXPECT_EQ(joinDosPath(QStringLiteral(" C:\\KELD  "), QStringLiteral("MAIN.CFG")),
              QStringLiteral("C:\\KELD\\MAIN.CFG"));
}

TEST(Wildcard, FollowsDosRules) {
    struct Case {
        const char* pattern;
        const char* name;
        bool matches;
    };
    const Case cases[] = {
        {"KELDTS.???", "KELDTS.LOG", true},
        {"KELDTS.???", "keldts.old", true},
        {"KELDTS.???", "KELDTS.1", true},
        {"KELDTS.???", "KELDTS", true},
        {"KELDTS.???", "KELDTS.LOGS", false},
        {"KELDTS.???", "KELDTSX.LOG", false},
        {"*.BAT", "ktsn12.bat", true},
        {"*.BAT", "KTSN1.BAK", false},
        {"*.BAT", "BAT", false},
        {"KTSN?.BAT", "KTSN1.BAT", true},
        {"KTSN?.BAT", "KTSN.BAT", true},
        {"KTSN?.BAT", "KTSN12.BAT", false},
        {"K?TS.CFG", "KTS.CFG", false},
        {"K?TS.CFG", "KXTS.CFG", true},
        {"*.*", "NOEXT", true},
        {"*", "A.B", true},
        {"TEXT*.DAT", "TEXT12.DAT", true},
        {"TEXT*.DAT", "TEXT12.DAX", false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(matchesDosWildcard(QLatin1String(c.pattern), QLatin1String(c.name)), c.matches)
            << c.pattern << " ~ " << c.name;
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
        f.write("; board on this machine\n"
                "[Drives]\n"
                "c = /srv/keld/ ; the board\n"
                "DD=/nowhere\n"
                "[Dos]\n"
                "run=dosbox -c \"x;y\" {batch}\n"
                "[Nodes]\n"
                "host=Process\n"
                "what is this\n");
    }
    const PlatformSettings s = readPlatformSettings(ini);
    EXPECT_EQ(s.drives.directoryOf(QLatin1Char('C')), QStringLiteral("/srv/keld"));
    EXPECT_FALSE(s.drives.isMapped(QLatin1Char('D')));
    EXPECT_EQ(s.dosRun, QStringLiteral("dosbox -c \"x;y\" {batch}"));
    EXPECT_EQ(s.nodeHost, QStringLiteral("process"));
    ASSERT_EQ(s.problems.size(), 2);
    EXPECT_TRUE(s.problems[0].contains(QStringLiteral("line 4")));

    const PlatformSettings none = readPlatformSettings(dir.filePath(QStringLiteral("ABSENT.INI")));
    EXPECT_TRUE(none.drives.isEmpty());
    EXPECT_EQ(none.nodeHost, QStringLiteral("tmux"));

    // What the demo writes must read back as the map it means.
    QFile f(ini);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(platformSettingsText(dir.path()));
    f.close();
    const PlatformSettings demo = readPlatformSettings(ini);
    EXPECT_EQ(demo.drives.directoryOf(QLatin1Char('c')), QDir::cleanPath(dir.path()));
    EXPECT_TRUE(demo.problems.isEmpty()) << demo.problems.join(QLatin1Char('|')).toStdString();
}

} // namespace
