#include "server/IpList.h"

#include "data/SystemConfig.h"
#include "support/TestBoard.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

QByteArray records(std::initializer_list<const char*> entries) {
    QByteArray bytes;
    for (const char* e : entries)
        bytes += QByteArray(e).leftJustified(15, ' ');
    return bytes;
}

class IpListTest : public ::testing::Test {
  protected:
    IpListTest() { loadSystemConfig(*tb.board); }
    QByteArray list() const { return tb.read(QStringLiteral("KELDTSIP.DAT")); }
    void setList(const QByteArray& bytes) { tb.write(QStringLiteral("KELDTSIP.DAT"), bytes); }
    bool exists() const { return QFile::exists(tb.file(QStringLiteral("KELDTSIP.DAT"))); }
    QStringList entries() {
        QStringList out;
        QString error;
        EXPECT_TRUE(iplist::read(*tb.board, &out, &error)) << error.toStdString();
        return out;
    }
    bool add(const char* entry) { return iplist::add(*tb.board, QLatin1String(entry), &error); }
    bool remove(int row) { return iplist::remove(*tb.board, row, &error); }

    TestBoard tb;
    QString error;
};

TEST(IpListEntryTest, PartsAreNumbersOrWildcardsAndNoneMayBeBlank) {
    using Parts = std::array<QString, 4>;
    EXPECT_EQ(iplist::entryFromParts(Parts{"010", " 7 ", "*", "000"}), QStringLiteral("10.7.*.0"));
    EXPECT_EQ(iplist::entryFromParts(Parts{"999", "1", " * ", "12x"}),
              QStringLiteral("999.1.*.12"));
    EXPECT_EQ(iplist::entryFromParts(Parts{"1", "1", "1", "  "}), QString());
}

TEST_F(IpListTest, AddingAppendsBehindTheLastWholeRecord) {
    EXPECT_TRUE(entries().isEmpty());
    ASSERT_TRUE(add("10.7.*.0")) << error.toStdString();
    ASSERT_TRUE(add("1.2.3.4"));
    EXPECT_EQ(list(), records({"10.7.*.0", "1.2.3.4"}));

    // Another program's torn write leaves a partial record: it is neither listed nor kept.
    setList(records({"1.1.1.1"}) + "9.9.9");
    EXPECT_EQ(entries(), QStringList({"1.1.1.1"}));
    ASSERT_TRUE(add("2.2.2.2"));
    EXPECT_EQ(list(), records({"1.1.1.1", "2.2.2.2"}));

    EXPECT_FALSE(add("1000.1000.1000.1"));
    EXPECT_EQ(list().size(), 30);
}

TEST_F(IpListTest, RemovingCompactsAndAnEmptyListGoesOnClose) {
    setList(records({"1.1.1.1", " ##$$## ", "2.2.2.2", "3.3.3.3"}) + "4.4");
    EXPECT_EQ(entries(), QStringList({"1.1.1.1", "##$$##", "2.2.2.2", "3.3.3.3"}));
    ASSERT_TRUE(remove(2)) << error.toStdString();
    ASSERT_TRUE(remove(2));
    EXPECT_EQ(list(), records({"1.1.1.1", "3.3.3.3"}));
    ASSERT_TRUE(iplist::dropIfEmpty(*tb.board, &error));
    EXPECT_TRUE(exists());

    ASSERT_TRUE(remove(0));
    ASSERT_TRUE(remove(0));
    EXPECT_EQ(list(), QByteArray());
    EXPECT_TRUE(exists());
    ASSERT_TRUE(iplist::dropIfEmpty(*tb.board, &error));
    EXPECT_FALSE(exists());
    EXPECT_TRUE(iplist::dropIfEmpty(*tb.board, &error));
    EXPECT_FALSE(remove(0));
    EXPECT_FALSE(exists());
}

} // namespace
