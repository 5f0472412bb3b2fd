// Several files changed as one: after a kill at any instant and the next start's recovery, all
// of them are old or all new; a set that cannot be written whole changes nothing.

#include "platform/AllOrNone.h"

#include "support/RandomKills.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

struct Files {
    QString journal, one, two, three;
};

Files filesIn(const QTemporaryDir& dir) {
    QDir(dir.path()).mkdir(QStringLiteral("other"));
    return {dir.filePath(QStringLiteral("KELDTS.JNL")), dir.filePath(QStringLiteral("ONE")),
            dir.filePath(QStringLiteral("TWO")), dir.filePath(QStringLiteral("other/THREE"))};
}

QList<allornone::Change> oldSet(const Files& f) {
    return {{f.one, "one, old"}, {f.two, "two, old"}, {f.three, std::nullopt}};
}
QList<allornone::Change> newSet(const Files& f) {
    return {{f.one, "one, new and longer"}, {f.two, "two, new"}, {f.three, "three, new"}};
}

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

// What the files hold, in the form of a set: a missing file as no bytes.
QList<std::optional<QByteArray>> stateOf(const Files& f) {
    QList<std::optional<QByteArray>> state;
    for (const QString& path : {f.one, f.two, f.three}) {
        const QByteArray bytes = contents(path);
        state.append(bytes == "<missing>" ? std::nullopt : std::optional(bytes));
    }
    return state;
}
QList<std::optional<QByteArray>> stateOf(const QList<allornone::Change>& set) {
    QList<std::optional<QByteArray>> state;
    for (const allornone::Change& change : set)
        state.append(change.bytes);
    return state;
}

bool swapOnce(const Files& f) {
    return allornone::replace(f.journal, newSet(f)).ok() &&
           allornone::replace(f.journal, oldSet(f)).ok();
}

TEST(AllOrNone, EveryKillLeavesAllOldOrAllNew) {
    QTemporaryDir dir;
    const Files f = filesIn(dir);
    ASSERT_TRUE(allornone::replace(f.journal, oldSet(f)).ok());
    QSet<bool> seen;
    killAtRandomMoments(
        80, [&] { return swapOnce(f); },
        [&](int kill) {
            // What the next start does before anything else.
            const Result<> recovered = allornone::recover(f.journal);
            ASSERT_TRUE(recovered.ok()) << recovered.error().toStdString();
            const auto now = stateOf(f);
            const bool isOld = now == stateOf(oldSet(f)), isNew = now == stateOf(newSet(f));
            ASSERT_TRUE(isOld || isNew)
                << "after kill " << kill << " the files are a mix: " << contents(f.one).constData()
                << " / " << contents(f.two).constData() << " / " << contents(f.three).constData();
            seen.insert(isNew);
            const QStringList left =
                QDir(dir.path()).entryList({QStringLiteral("*.SET")}) +
                QDir(dir.filePath(QStringLiteral("other"))).entryList({QStringLiteral("*.SET")});
            ASSERT_TRUE(left.isEmpty()) << left.join(' ').toStdString();
            ASSERT_FALSE(QFile::exists(f.journal));
        });
    EXPECT_EQ(seen.size(), 2) << "the kills all landed on the same side of the swaps";
}

TEST(AllOrNone, ASetThatCannotBeWrittenWholeChangesNothing) {
    QTemporaryDir dir;
    const Files f = filesIn(dir);
    ASSERT_TRUE(allornone::replace(f.journal, oldSet(f)).ok());
    const QString nowhere = dir.filePath(QStringLiteral("missing/FOUR"));
    const Result<> refused =
        allornone::replace(f.journal, newSet(f) << allornone::Change{nowhere, "four"});
    ASSERT_FALSE(refused.ok());
    EXPECT_TRUE(refused.error().contains(nowhere)) << refused.error().toStdString();
    EXPECT_EQ(stateOf(f), stateOf(oldSet(f)));
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files), QStringList({"ONE", "TWO"}));

    // A journal that makes no sense stops every later set rather than guess at the files.
    QFile garbled(f.journal);
    ASSERT_TRUE(garbled.open(QIODevice::WriteOnly));
    garbled.write("ready\nX nonsense\n");
    garbled.close();
    const Result<> stopped = allornone::replace(f.journal, newSet(f));
    ASSERT_FALSE(stopped.ok());
    EXPECT_TRUE(stopped.error().contains(f.journal)) << stopped.error().toStdString();
    EXPECT_EQ(stateOf(f), stateOf(oldSet(f)));
}

} // namespace
