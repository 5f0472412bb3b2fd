// A change that cannot finish, for a full disk or a file that cannot be written, leaves every
// file of the board as it was, byte for byte: a table, the files numbered after its records, the
// user file and its index.

#include "KeldtsRunner.h"

#include <QDirIterator>
#include <QFile>
#include <QMap>

#include <csignal>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Snapshot = QMap<QString, QByteArray>;

// Every file under the board, by its path.
Snapshot snapshotOf(const QString& root) {
    Snapshot files;
    QDirIterator it(root, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        QFile file(path);
        files.insert(path, file.open(QIODevice::ReadOnly) ? file.readAll() : "<unreadable>");
    }
    return files;
}

QStringList differences(const Snapshot& before, const Snapshot& after) {
    QStringList changed;
    for (auto it = before.begin(); it != before.end(); ++it) {
        if (after.value(it.key(), "<missing>") != it.value())
            changed << it.key();
    }
    for (auto it = after.begin(); it != after.end(); ++it) {
        if (!before.contains(it.key()))
            changed << it.key() + " (new)";
    }
    return changed;
}

// No file of the child may grow past `bytes`, as on a disk that is full there.
std::function<void()> diskFullPast(rlim_t bytes) {
    return [bytes] {
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{bytes, bytes};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    };
}

// `path` cannot be written by the child: a read-only mount of its own, as root is not held back
// by a file's mode.
std::function<void()> readOnly(const QString& path) {
    return [name = QFile::encodeName(path)] {
        if (::unshare(CLONE_NEWNS) != 0 ||
            ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount(name.constData(), name.constData(), nullptr, MS_BIND, nullptr) != 0 ||
            ::mount(nullptr, name.constData(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY,
                    nullptr) != 0)
            ::_exit(99);
    };
}

class FailedChangeE2e : public E2eTest {
  protected:
    RunResult table(const QStringList& words, const std::function<void()>& inChild = {}) const {
        return sandbox.run(QStringList{"table"} + words, sandbox.mainDir(), {}, inChild);
    }
    void edit(const QStringList& words) const {
        const RunResult result = table(words);
        ASSERT_EQ(result.exitCode, 0)
            << words.join(' ').toStdString() << ": " << result.err.toStdString();
    }
    // The command fails with one line naming the problem, and no file of the board changed.
    void refusedWithoutATrace(const QStringList& words, const std::function<void()>& inChild) {
        SCOPED_TRACE(words.join(' ').toStdString());
        const Snapshot before = snapshotOf(sandbox.boardDir());
        const RunResult result = table(words, inChild);
        ASSERT_NE(result.exitCode, 99) << "the test could not set up the child";
        EXPECT_EQ(result.exitCode, 2) << result.err.toStdString();
        EXPECT_EQ(result.err.count('\n'), 1) << result.err.toStdString();
        EXPECT_EQ(differences(before, snapshotOf(sandbox.boardDir())).join(' ').toStdString(), "");
    }
};

TEST_F(FailedChangeE2e, TablesAndTheirNumberedFilesChangeWholeOrNotAtAll) {
    QByteArray sections;
    for (int n = 1; n <= 20; ++n) {
        sections += QByteArray("Section ").append(QByteArray::number(n)).leftJustified(64, ' ') +
                    QByteArray(2, '\0') + ' ';
        ASSERT_NO_FATAL_FAILURE(sandbox.write(QStringLiteral("DATA/TEXT%1.DAT").arg(n),
                                              "bulletins of section " + QByteArray::number(n)));
    }
    ASSERT_NO_FATAL_FAILURE(sandbox.write("TEXTSECT.CFG", sections));
    for (int n = 0; n < 3; ++n)
        ASSERT_NO_FATAL_FAILURE(edit({"DOORS.CFG", "insert"}));

    // Too full for the new table, and in one case for the note of what is to change as well.
    for (const rlim_t room : {rlim_t(100), rlim_t(1000)}) {
        refusedWithoutATrace({"TEXTSECT.CFG", "delete", "1", "--yes"}, diskFullPast(room));
        refusedWithoutATrace({"TEXTSECT.CFG", "delete", "20", "--yes"}, diskFullPast(room));
        refusedWithoutATrace({"TEXTSECT.CFG", "move", "19", "down"}, diskFullPast(room));
    }
    refusedWithoutATrace({"DOORS.CFG", "delete", "1", "--yes"}, diskFullPast(100));
    refusedWithoutATrace({"DOORS.CFG", "insert"}, diskFullPast(230));
    if (::geteuid() == 0) {
        refusedWithoutATrace({"TEXTSECT.CFG", "delete", "2", "--yes"}, readOnly(sandbox.mainDir()));
        refusedWithoutATrace({"DOORS.CFG", "move", "1", "down"}, readOnly(sandbox.mainDir()));
    }

    // With room again, the same delete takes the section's bulletins with it.
    ASSERT_NO_FATAL_FAILURE(edit({"TEXTSECT.CFG", "delete", "1", "--yes"}));
    EXPECT_EQ(sandbox.read("DATA/TEXT1.DAT"), "bulletins of section 2");
    EXPECT_EQ(sandbox.read("DATA/TEXT19.DAT"), "bulletins of section 20");
    EXPECT_FALSE(QFile::exists(sandbox.path("DATA/TEXT20.DAT")));
}

TEST_F(FailedChangeE2e, AUserAndHisIndexEntryAreWrittenTogether) {
    for (const QStringList& words :
         QList<QStringList>{{"USERFILE.DAT", "insert"},
                            {"USERFILE.DAT", "insert"},
                            {"USERFILE.DAT", "set", "1", "handle=Alice", "securitylevel=20"}})
        ASSERT_NO_FATAL_FAILURE(edit(words));

    // The user file is too full for a third user, where his index entry would still fit.
    refusedWithoutATrace({"USERFILE.DAT", "insert"}, diskFullPast(2500));
    if (::geteuid() == 0) {
        for (const QStringList& words :
             QList<QStringList>{{"USERFILE.DAT", "insert"},
                                {"USERFILE.DAT", "set", "2", "handle=Bob"},
                                {"USERFILE.DAT", "delete", "1", "--yes"}})
            refusedWithoutATrace(words, readOnly(sandbox.path("DATA/USERFILE.IDX")));
    }
}

// Someone put a FIFO where the user file belongs: every command says so by name, at once,
// instead of waiting for a writer that never comes.
TEST_F(FailedChangeE2e, AFifoInPlaceOfTheUserFileIsRefusedByName) {
    const QByteArray users = QFile::encodeName(sandbox.path("DATA/USERFILE.DAT"));
    ASSERT_EQ(::mkfifo(users.constData(), 0600), 0);
    for (const QStringList& words : QList<QStringList>{
             {"USERFILE.DAT", "list"}, {"USERFILE.DAT", "insert"}, {"USERFILE.DAT", "compress"}}) {
        const RunResult result = table(words);
        EXPECT_EQ(result.exitCode, 2) << words.join(' ').toStdString();
        EXPECT_TRUE(result.err.contains("USERFILE.DAT") && result.err.contains("FIFO"))
            << result.err.toStdString();
    }
}

} // namespace
