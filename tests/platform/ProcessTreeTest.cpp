#include "platform/ProcessTree.h"

#include <QFile>
#include <QProcess>

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

bool gone(pid_t pid) {
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return true;
    // A killed child of ours lingers as a zombie until reaped.
    const QByteArray text = stat.readAll();
    return text.mid(text.lastIndexOf(')') + 2, 1) == "Z";
}

TEST(ProcessTree, KillsTheWholeTreeAndSparesTheRootOnlyWhenAsked) {
    // A node's shape: a batch that runs a program that runs another.
    QProcess root;
    root.start(QStringLiteral("/bin/sh"),
               {QStringLiteral("-c"), QStringLiteral("sh -c 'sleep 300 & echo $!; wait' & echo $!; "
                                                     "wait; exec sleep 300")});
    QByteArray got;
    while (got.count('\n') < 2 && root.waitForReadyRead(5000))
        got += root.readAllStandardOutput();
    const QList<QByteArray> below = got.trimmed().split('\n');
    ASSERT_EQ(below.size(), 2) << got.toStdString();

    EXPECT_FALSE(killProcessTree(0, false));
    ASSERT_TRUE(killProcessTree(root.processId(), true));
    for (const QByteArray& pid : below) {
        for (int i = 0; i < 500 && !gone(pid.toInt()); ++i)
            ::usleep(2000);
        EXPECT_TRUE(gone(pid.toInt())) << pid.toStdString();
    }
    EXPECT_FALSE(gone(pid_t(root.processId())));
    ASSERT_TRUE(killProcessTree(root.processId(), false));
    ASSERT_TRUE(root.waitForFinished(5000));
    EXPECT_EQ(root.exitStatus(), QProcess::CrashExit);
}

} // namespace
