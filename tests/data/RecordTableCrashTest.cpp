// A table rewrite killed at any instant must leave the old table or the new one, whole.

#include "data/RecordTable.h"

#include <QFile>
#include <QTemporaryDir>

#include "support/RandomKills.h"

#include <gtest/gtest.h>

#include <array>

namespace {

constexpr std::array kFields{Field{"key", 0, FieldType::Str, 8},
                             Field{"value", 8, FieldType::I32, 4}};
const RecordLayout kLayout{"CRASH.CFG", 12, kFields};

Record entry(const char* key, int value) {
    Record r(kLayout);
    r.setStr("key", key);
    r.setI32("value", value);
    return r;
}

// The editor's whole repertoire in a loop: compact away entries marked as deleted, swap two
// records and back, add a marked entry.
bool editOnce(const QString& live) {
    return recordtable::remove(live, kLayout, "key", 0).ok() &&
           recordtable::move(live, kLayout, 1, false).ok() &&
           recordtable::move(live, kLayout, 2, true).ok() &&
           recordtable::append(live, entry(recordtable::kDeletedMark, 99)).ok();
}

TEST(RecordTableCrash, EveryKillLeavesAWholeTable) {
    QTemporaryDir dir;
    const QString live = dir.filePath(QStringLiteral("CRASH.CFG"));
    const QByteArray a = entry("ALPHA", 1).bytes(), b = entry("BRAVO", 2).bytes(),
                     cd = entry("CHARLIE", 3).bytes() + entry("DELTA", 4).bytes(),
                     marked = entry(recordtable::kDeletedMark, 99).bytes();
    const QList<QByteArray> whole{a + b + cd, b + a + cd, a + b + cd + marked, b + a + cd + marked};
    {
        QFile file(live);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(whole[0]);
    }
    QList<QByteArray> seen;
    killAtRandomMoments(
        100, [&] { return editOnce(live); },
        [&](int kill) {
            // The table is rewritten by rename, so it is opened afresh each time.
            QFile file(live);
            const QByteArray now = file.open(QIODevice::ReadOnly) ? file.readAll() : "<missing>";
            ASSERT_TRUE(whole.contains(now)) << "after kill " << kill << " the table holds "
                                             << now.size() << " bytes that are no whole table";
            if (!seen.contains(now))
                seen.append(now);
        });
    // The kills did land at different points of the loop, not always in the same state.
    EXPECT_GE(seen.size(), 2);
}

} // namespace
