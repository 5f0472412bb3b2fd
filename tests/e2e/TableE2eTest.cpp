// keldts table as a sysop without a display uses it: edits by command, files checked byte by
// byte, and every refusal leaving the file as it was.

#include "KeldtsRunner.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtEndian>

#include <linux/capability.h>
#include <sys/prctl.h>

namespace {

QByteArray text(const QByteArray& value, int width) {
    return value.leftJustified(width, ' ', true);
}
QByteArray i16(qint16 value) {
    QByteArray bytes(2, '\0');
    qToLittleEndian(value, bytes.data());
    return bytes;
}

// A DOORS.CFG record, written out the way the DOS programs lay it out.
QByteArray door(const QByteArray& name, const QByteArray& command, qint16 level,
                const QByteArray& flag, qint16 singleUser) {
    return text(name, 32) + text(command, 32) + i16(level) + text(flag, 1) + i16(singleUser) +
           i16(0) + text({}, 3);
}

// In the child, as a sysop who is not root: the permission bits of a file hold for the program
// it runs, which gets no capability the bounding set lacks.
void withoutOverridingPermissions() {
    ::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0);
}

class TableE2e : public E2eTest {
  protected:
    RunResult table(const QStringList& words) const {
        return sandbox.run(QStringList{"table"} + words, sandbox.mainDir());
    }
    // Runs the commands one after another; each must succeed.
    void edit(const QList<QStringList>& commands) const {
        for (const QStringList& words : commands) {
            const RunResult result = table(words);
            ASSERT_EQ(result.exitCode, 0)
                << words.join(' ').toStdString() << ": " << result.err.toStdString();
        }
    }
};

TEST_F(TableE2e, EditsByCommandLeaveTheFilesTheFormsWould) {
    EXPECT_EQ(table({"DOORS.CFG", "insert"}).out, "1\n");
    ASSERT_NO_FATAL_FAILURE(edit({
        {"doors.cfg", "insert"},
        {"DOORS.CFG", "set", "1", "doordesc= Trade Wars ", "doorcommand=tw.bat", "doorminsl=20",
         "dooraccflag=B"},
    }));
    // What the form's rules made of a value is said; the rest goes as given.
    EXPECT_EQ(table({"DOORS.CFG", "set", "2", "doorminsl=99999", "doorsingleuser=no"}).err,
              "DOORS.CFG: doorminsl=99999 was stored as 32767\n");
    ASSERT_NO_FATAL_FAILURE(edit({
        {"DOORS.CFG", "move", "2", "up"},
        {"IRC-S.CFG", "insert"},
        {"IRC-S.CFG", "set", "1", "serverhost=IRC.Example.NET", "serverautoopbot=yes"},
        {"IRC-S.CFG", "insert"},
        {"IRC-S.CFG", "delete", "2"},
        {"EVENTS.CFG", "insert"},
        {"EVENTS.CFG", "set", "1", "evttime=7:5", "evtcommand=nightly.bat"},
    }));
    EXPECT_EQ(sandbox.read("DOORS.CFG"),
              door("New Game", {}, 32767, {}, 0) + door("Trade Wars", "tw.bat", 20, "B", 1));
    EXPECT_EQ(sandbox.read("IRC-S.CFG"), "irc.example.net 6667 8\r\n");
    EXPECT_EQ(table({"EVENTS.CFG", "list"}).out, "Events (1)\n1: 07:05 -        - nightly.bat\n");

    const RunResult json = table({"DOORS.CFG", "show", "2", "--json"});
    const QJsonObject row = QJsonDocument::fromJson(json.out).object();
    EXPECT_EQ(row.value("doordesc").toString(), "Trade Wars");
    EXPECT_EQ(row.value("doorminsl").toInt(), 20);
    EXPECT_EQ(QJsonDocument::fromJson(table({"DOORS.CFG", "list", "--json"}).out).array().size(),
              2);
}

// Each kind of bad input: one line naming the file, status 2, and the file as it was.
TEST_F(TableE2e, BadInputIsRefusedAndTheFileKeptAsItWas) {
    ASSERT_NO_FATAL_FAILURE(edit({{"DOORS.CFG", "insert"}}));
    const QByteArray doors = sandbox.read("DOORS.CFG");
    const QList<QStringList> refused{
        {"DOORS.CFG", "set", "1", "doordesc=Fine", "colour=red"},
        {"DOORS.CFG", "set", "1", "doordesc=" + QString(33, 'x')},
        {"DOORS.CFG", "set", "1", "dooraccflag=AB"},
        {"DOORS.CFG", "set", "1", "doorminsl=-5"},
        {"DOORS.CFG", "set", "1", "doorcredits=1e3"},
        {"DOORS.CFG", "set", "1", "doordesc=x\ndoorminsl=255"},
        {"DOORS.CFG", "set", "2", "doordesc=Nobody"},
        {"DOORS.CFG", "delete", "0"},
        {"DOORS.CFG", "move", "1", "sideways"},
        {"DOORS.CFG", "set", "1"},
    };
    for (const QStringList& words : refused) {
        const RunResult result = table(words);
        EXPECT_EQ(result.exitCode, 2) << words.join(' ').toStdString();
        EXPECT_TRUE(result.err.startsWith("DOORS.CFG") && result.err.count('\n') == 1)
            << result.err.toStdString();
        EXPECT_EQ(sandbox.read("DOORS.CFG"), doors) << words.join(' ').toStdString();
    }

    for (const auto& [entries, said] :
         {std::pair{49, "UPLOAD.CFG holds 49 entries, as many as it may\n"},
          std::pair{50, "UPLOAD.CFG holds 50 entries, and inserts stop at 49\n"}}) {
        const QByteArray full(entries * 73, ' ');
        ASSERT_NO_FATAL_FAILURE(sandbox.write("UPLOAD.CFG", full));
        const RunResult atLimit = table({"UPLOAD.CFG", "insert"});
        EXPECT_EQ(atLimit.exitCode, 2);
        EXPECT_EQ(atLimit.err, said);
        EXPECT_EQ(sandbox.read("UPLOAD.CFG"), full);
    }

    // A number with leading zeros names a file no DOS program reads.
    const RunResult padded = table({"TEXT007.DAT", "list"});
    EXPECT_EQ(padded.exitCode, 2);
    EXPECT_EQ(padded.err, "TEXT007.DAT is no board file; the file of number 7 is TEXT7.DAT\n");

    // What the edit form would ask must be answered on the command line.
    ASSERT_NO_FATAL_FAILURE(edit({{"KELDTSTR.DAT", "insert"}}));
    const QStringList wildcard{"KELDTSTR.DAT", "set", "1", "trigger=C:\\IN\\*.FLG",
                               "deletetrigger=1"};
    const QByteArray triggers = sandbox.read("KELDTSTR.DAT");
    EXPECT_EQ(table(wildcard).exitCode, 2);
    EXPECT_EQ(sandbox.read("KELDTSTR.DAT"), triggers);
    EXPECT_EQ(table(wildcard + QStringList{"--yes"}).exitCode, 0);
    EXPECT_TRUE(sandbox.read("KELDTSTR.DAT").startsWith("C:\\IN\\*.FLG "));

    ASSERT_TRUE(QDir().mkdir(sandbox.path("RANDOM.CFG")));
    const RunResult unreadable = table({"RANDOM.CFG", "list"});
    EXPECT_EQ(unreadable.exitCode, 2);
    EXPECT_TRUE(unreadable.err.contains("RANDOM.CFG")) << unreadable.err.toStdString();
    EXPECT_EQ(table({"MAIN.CFG", "list"}).exitCode, 2);
}

// A read-only file is refused by every change, even one that would write a new file beside it.
TEST_F(TableE2e, ReadOnlyFilesAreLeftAlone) {
    ASSERT_NO_FATAL_FAILURE(edit({{"DOORS.CFG", "insert"},
                                  {"DOORS.CFG", "insert"},
                                  {"USERFILE.DAT", "insert"},
                                  {"USERFILE.DAT", "delete", "1", "--yes"}}));
    const auto readOnly = [this](const QString& name) {
        return ::chmod(QFile::encodeName(sandbox.path(name)).constData(), 0444) == 0;
    };
    ASSERT_TRUE(readOnly("DOORS.CFG") && readOnly("DATA/USERFILE.IDX"));
    const QByteArray doors = sandbox.read("DOORS.CFG");
    const QByteArray index = sandbox.read("DATA/USERFILE.IDX");
    const QList<QStringList> changes{{"table", "DOORS.CFG", "move", "1", "down"},
                                     {"table", "DOORS.CFG", "insert"},
                                     {"table", "DOORS.CFG", "delete", "2"},
                                     {"table", "DOORS.CFG", "set", "1", "doordesc=X"},
                                     {"table", "USERFILE.DAT", "compress"},
                                     {"users", "reindex"}};
    for (const QStringList& words : changes) {
        const RunResult result =
            sandbox.run(words, sandbox.mainDir(), {}, &withoutOverridingPermissions);
        EXPECT_EQ(result.exitCode, 2) << words.join(' ').toStdString();
        EXPECT_TRUE(result.err.contains(words.at(1) == "DOORS.CFG"
                                            ? "DOORS.CFG cannot be changed"
                                            : "USERFILE.IDX cannot be changed"))
            << result.err.toStdString();
    }
    EXPECT_EQ(sandbox.read("DOORS.CFG"), doors);
    EXPECT_EQ(sandbox.read("DATA/USERFILE.IDX"), index);
    EXPECT_EQ(sandbox.read("DATA/USERFILE.DAT").size(), 1048);
    EXPECT_EQ(QFile::permissions(sandbox.path("DOORS.CFG")) & QFile::WriteOwner, 0)
        << "the file itself, not a new one in its place";
}

// A field's bytes reach the terminal as text: no value can clear the screen or forge a line.
TEST_F(TableE2e, ControlBytesAreShownNotSent) {
    ASSERT_NO_FATAL_FAILURE(
        sandbox.write("DOORS.CFG", door("A\x1b[2J\r\nB", QByteArray("x\0y", 3), 1, {}, 0)));
    const RunResult shown = table({"DOORS.CFG", "show", "1"});
    EXPECT_TRUE(shown.out.startsWith("doordesc=A^[[2J^M^JB\ndoorcommand=x^@y\ndoorminsl=1\n"))
        << shown.out.toStdString();
    EXPECT_EQ(table({"DOORS.CFG", "list"}).out,
              "Doors Configuration (1)\n1: A^[[2J^M^JB" + QByteArray(24, ' ') + " - 1 \n");
    EXPECT_EQ(QJsonDocument::fromJson(table({"DOORS.CFG", "show", "1", "--json"}).out)
                  .object()
                  .value("doordesc")
                  .toString(),
              "A\x1b[2J\r\nB");
}

// The user file on the command line: a delete is asked about, leaves the number, and compress
// gives back only the free tail.
TEST_F(TableE2e, UsersKeepTheirNumbersOnTheCommandLine) {
    ASSERT_NO_FATAL_FAILURE(
        edit({{"USERFILE.DAT", "insert"},
              {"USERFILE.DAT", "insert"},
              {"USERFILE.DAT", "set", "1", "handle=Alice", "securitylevel=20"}}));
    const QByteArray users = sandbox.read("DATA/USERFILE.DAT");
    ASSERT_EQ(users.size(), 2 * 1048);
    for (const QStringList& words : QList<QStringList>{{"USERFILE.DAT", "delete", "1"},
                                                       {"USERFILE.DAT", "set", "1", "laston=1"},
                                                       {"USERFILE.DAT", "move", "1", "down"}}) {
        const RunResult result = table(words);
        EXPECT_EQ(result.exitCode, 2) << words.join(' ').toStdString();
        EXPECT_EQ(result.err.count('\n'), 1) << result.err.toStdString();
        EXPECT_EQ(sandbox.read("DATA/USERFILE.DAT"), users) << words.join(' ').toStdString();
    }
    EXPECT_EQ(table({"USERFILE.DAT", "delete", "1"}).err,
              "USERFILE.DAT: Are you sure you want to delete this user (Alice)? (add --yes to "
              "proceed)\n");

    // The time left is the editor's rule over the time used, on the command line too.
    ASSERT_NO_FATAL_FAILURE(edit({{"USERFILE.DAT", "set", "2", "maxtime=100", "timeleft=60"}}));
    const QJsonObject second =
        QJsonDocument::fromJson(table({"USERFILE.DAT", "show", "2", "--json"}).out).object();
    EXPECT_EQ(second.value("timeused").toInt(), 40);
    EXPECT_TRUE(table({"USERFILE.DAT", "show", "2"}).out.contains("\ntimeleft=100\n"))
        << "no call today: the whole daily time";
    EXPECT_EQ(table({"USERFILE.DAT", "set", "2", "timeleft=-5"}).exitCode, 2);

    const RunResult found = sandbox.run({"users", "find", "ALI"}, sandbox.mainDir());
    EXPECT_EQ(found.out, "1: Alice                   -  20  0..\n");
    ASSERT_NO_FATAL_FAILURE(edit({{"USERFILE.DAT", "compress"}}));
    EXPECT_EQ(sandbox.read("DATA/USERFILE.DAT").size(), 1048);
    ASSERT_NO_FATAL_FAILURE(edit({{"USERFILE.DAT", "delete", "1", "--yes"}}));
    ASSERT_TRUE(QFile::remove(sandbox.path("DATA/USERFILE.IDX")));
    EXPECT_EQ(sandbox.run({"users", "reindex"}, sandbox.mainDir()).exitCode, 0);
    EXPECT_EQ(sandbox.read("DATA/USERFILE.IDX").mid(40, 15), "Alice          ");
}

} // namespace
