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

void writeFile(const QString& path, const QByteArray& bytes = {}) {
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size())
        << path.toStdString();
}

TEST(DosPath, ComponentsMatchWhatExistsWhateverTheCaseAndAnUnmappedDriveIsNamed) {
    QTemporaryDir root;
    const QString keld = root.path() + "/Keld";
    ASSERT_TRUE(QDir().mkpath(keld + "/Text"));
    ASSERT_NO_FATAL_FAILURE(writeFile(keld + "/Text/netonly.txt"));
    DriveMap drives;
    drives.map('c', root.path());
    const struct {
        const char* dos;
        const char* native; // under `keld`
    } cases[] = {
        {"C:\\KELD\\TEXT\\NETONLY.TXT", "/Text/netonly.txt"},
        {"  c:\\keld\\text  ", "/Text"},
        // A name that does not exist yet keeps the spelling the board wrote; its folder is found.
        {"C:\\KELD\\TEXT\\NewFile.DAT", "/Text/NewFile.DAT"},
        {"C:\\KELD\\NEWDIR\\A.TXT", "/NEWDIR/A.TXT"},
        {"\\KELD\\TEXT", "/Text"},
        {"TEXT\\NETONLY.TXT", "/Text/netonly.txt"}, // relative: from the base, `keld`
        {"C:\\KELD\\TEXT\\..\\TEXT\\.\\netonly.txt", "/Text/netonly.txt"},
    };
    for (const auto& c : cases) {
        const ResolvedPath r = resolveDosPath(drives, c.dos, keld);
        EXPECT_TRUE(r.ok() && r.path == keld + c.native) << c.dos << " -> " << r.path.toStdString();
    }
    // Native paths need no drive map, and are matched the same way.
    EXPECT_EQ(resolveDosPath(DriveMap(), root.path() + "/KELD/TEXT", {}).path, keld + "/Text");

    const ResolvedPath r = resolveDosPath(drives, "d:\\KELD", root.path());
    EXPECT_EQ(r.unmappedDrive, QLatin1Char('D'));
    EXPECT_TRUE(r.path.isEmpty());
    const QString text = unmappedDriveMessage(r.unmappedDrive, " d:\\KELD ");
    for (const char* part : {"D:", "d:\\KELD", "D=/", "KELDTS.INI"})
        EXPECT_TRUE(text.contains(QLatin1String(part))) << part << " in " << text.toStdString();
    // A rooted path without a drive is on drive C, which must be mapped too.
    EXPECT_EQ(resolveDosPath(DriveMap(), "\\KELD", root.path()).unmappedDrive, QLatin1Char('C'));
    EXPECT_EQ(joinDosPath(" C:\\KELD  ", "MAIN.CFG"), "C:\\KELD\\MAIN.CFG");
}

TEST(Wildcard, FollowsDosRules) {
    // A pattern, the names it matches, and after "|" names it does not.
    for (const char* line :
         {"KELDTS.??? KELDTS.LOG keldts.old KELDTS.1 KELDTS | KELDTS.LOGS KELDTSX.LOG",
          "*.BAT ktsn12.bat | KTSN1.BAK BAT", "KTSN?.BAT KTSN1.BAT KTSN.BAT | KTSN12.BAT",
          "K?TS.CFG KXTS.CFG | KTS.CFG", "*.* NOEXT", "* A.B",
          "TEXT*.DAT TEXT12.DAT | TEXT12.DAX"}) {
        const QStringList words = QString(line).split(' ');
        const qsizetype bar = words.contains("|") ? words.indexOf("|") : words.size();
        for (qsizetype i = 1; i < words.size(); ++i)
            EXPECT_TRUE(i == bar || matchesDosWildcard(words[0], words[i]) == (i < bar))
                << line << ": " << qPrintable(words[i]);
    }
    EXPECT_TRUE(hasDosWildcard("A?.B") && hasDosWildcard("*.B") && !hasDosWildcard("A.B"));
}

TEST(Cp437, BytesSurviveTheRoundTripAndTheLineCharacterIsBoxDrawing) {
    QByteArray all;
    for (int b = 0; b < 256; ++b)
        all.append(static_cast<char>(b));
    const QString text = cp437::toUnicode(all);
    ASSERT_EQ(text.size(), 256);
    EXPECT_EQ(cp437::fromUnicode(text), all);
    EXPECT_EQ(cp437::fromUnicode("Ç─é"), QByteArray("\x80\xC4\x82"));
    EXPECT_EQ(cp437::fromUnicode("a€b"), QByteArray("a?b"));
}

TEST(PlatformSettings, ReadsDrivesAndNotesWhatItCannotUse) {
    QTemporaryDir dir;
    ASSERT_NO_FATAL_FAILURE(
        writeFile(dir.filePath("KELDTS.INI"),
                  "; board on this machine\n[Drives]\nc = /srv/keld/ ; the board\nDD=/nowhere\n"
                  "[Dos]\nrun=dosbox -c \"x;y\" {batch}\n[Nodes]\nhost=Process\nwhat is this\n"
                  "[Services]\nUpdater=C:\\KELD\\KTSUPD.EXE\nsysinfo=\n"));
    const PlatformSettings s = readPlatformSettings(dir.filePath("KELDTS.INI"));
    EXPECT_EQ(s.drives.directoryOf('C'), "/srv/keld");
    EXPECT_FALSE(s.drives.isMapped('D'));
    EXPECT_EQ(s.dosRun, "dosbox -c \"x;y\" {batch}");
    EXPECT_EQ(s.nodeHost, "process");
    EXPECT_EQ(s.updater, "C:\\KELD\\KTSUPD.EXE");
    EXPECT_TRUE(s.sysInfo.isEmpty());
    EXPECT_TRUE(s.bbsFinder.startsWith("https://")) << "a setting not given keeps its default";
    ASSERT_EQ(s.problems.size(), 2);
    EXPECT_TRUE(s.problems[0].contains("line 4"));

    const PlatformSettings none = readPlatformSettings(dir.filePath("ABSENT.INI"));
    EXPECT_TRUE(none.drives.isEmpty());
    EXPECT_EQ(none.nodeHost, "tmux");

    // The demo's settings, which every board test resolves its files through, are all usable.
    const TestBoard demo;
    EXPECT_TRUE(demo.board->platform.problems.isEmpty())
        << demo.board->platform.problems.join('|').toStdString();
}

} // namespace
