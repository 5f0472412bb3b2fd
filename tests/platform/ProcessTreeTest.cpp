#include "platform/ProcessTree.h"

#include <QFile>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>
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
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t root = ::fork();
    ASSERT_GE(root, 0);
    if (root == 0) {
        // A node's shape: a batch that runs a program that runs another.
        ::close(ready[0]);
        const QByteArray fd = QByteArray::number(ready[1]);
        ::execl("/bin/sh", "sh", "-c",
                ("sh -c 'sleep 300 & echo $! >&" + fd + "; wait' & echo $! >&" + fd +
                 "; wait; exec sleep 300")
                    .constData(),
                static_cast<char*>(nullptr));
        _exit(127);
    }
    ::close(ready[1]);
    QList<pid_t> below;
    char buffer[64];
    QByteArray got;
    while (got.count('\n') < 2) {
        const ssize_t n = ::read(ready[0], buffer, sizeof buffer);
        ASSERT_GT(n, 0);
        got.append(buffer, n);
    }
    ::close(ready[0]);
    for (const QByteArray& line : got.trimmed().split('\n'))
        below << line.toInt();

    EXPECT_FALSE(killProcessTree(0, false));
    ASSERT_TRUE(killProcessTree(root, true));
    for (pid_t pid : below) {
        for (int i = 0; i < 500 && !gone(pid); ++i)
            ::usleep(2000);
        EXPECT_TRUE(gone(pid)) << pid;
    }
    EXPECT_FALSE(gone(root));
    ASSERT_TRUE(killProcessTree(root, false));
    int status = 0;
    ASSERT_EQ(::waitpid(root, &status, 0), root);
    EXPECT_TRUE(WIFSIGNALED(status));
}

} // namespace
