#include "server/AboutText.h"
#include "support/TestBoard.h"

#include <gtest/gtest.h>

namespace {

TEST(AboutText, MemoryComesFromTheKernelsFiguresWithDigitGrouping) {
    const MemoryUse use =
        parseProcessStatus("Name:\tkeldts\nVmRSS:\t   1234567 kB\nVmSwapped:\t9 kB\nThreads:\t3\n");
    EXPECT_EQ(use.residentKb, 1234567);
    EXPECT_EQ(use.swapKb, 0);
    EXPECT_EQ(about::memoryText({1234567, 2048}, QLocale(QLocale::English)),
              "RAM Usage: 1,234,567KB  /  Pagefile Usage: 2,048KB");
    EXPECT_GT(ownMemoryUse().residentKb, 0);
}

TEST(AboutText, TheSystemInformationProgramIsOnlyOfferedWhenItIsInstalled) {
    TestBoard t;
    t.board->platform.sysInfo = QStringLiteral("no-such-sysinfo-program --all");
    EXPECT_TRUE(about::sysInfoCommand(*t.board).isEmpty());
    t.board->platform.sysInfo = QStringLiteral("sh -c \"uname -a\"");
    EXPECT_EQ(about::sysInfoCommand(*t.board).mid(1), QStringList({"-c", "uname -a"}));
}

} // namespace
