// The user editor on a big board: 20,000 accounts in USERFILE.DAT with their index, and
// 50,000 messages in EMAIL.DAT. Opening the list to its first paint, a find, a delete with its
// purge, a compress and an index rebuild, each beside a raw read of the files in the same run,
// and for the passes the longest time the event loop went without a turn.

#include "BenchTiming.h"
#include "data/ListTables.h"
#include "data/UserAccounts.h"
#include "data/forms/UserListForm.h"
#include "data/records/BoardFiles.h"
#include "support/TestBoard.h"

#include <QApplication>
#include <QEventLoop>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QRandomGenerator>
#include <QTest>
#include <QTimer>

#include <cstdio>

namespace {

using benchtiming::rawRead;
using benchtiming::report;
using benchtiming::timeMs;

constexpr int kUsers = 20000;
constexpr int kFreeTail = 50;
constexpr int kMessages = 50000;
constexpr int kTextLength = 400;

void writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(path));
}

QByteArray users() {
    QByteArray bytes;
    for (int n = 1; n <= kUsers; ++n) {
        Record user = useraccounts::newUser();
        user.setStr("handle", QByteArray("Caller ") + QByteArray::number(n));
        user.setStr("realname", QByteArray("Real Name ") + QByteArray::number(n));
        user.setI16("securitylevel", n > kUsers - kFreeTail ? 0 : qint16(10 + n % 200));
        user.setStr("laston", "261124");
        bytes += user.bytes();
    }
    return bytes;
}

// Mail between random users; every text has its own place in EMAIL.BIN.
void writeMail(const Board& board) {
    QRandomGenerator random(7);
    QByteArray records;
    Record mail(mailLayout());
    for (int i = 0; i < kMessages; ++i) {
        mail.clear();
        mail.setI32("fromuser", random.bounded(1, kUsers));
        mail.setI32("touser", random.bounded(1, kUsers));
        mail.setI16("mailstate", 1);
        mail.setI32("textoffset", i * kTextLength + 1);
        mail.setI32("textlength", kTextLength);
        records += mail.bytes();
    }
    writeFile(board.filePath("db", QStringLiteral("EMAIL.DAT")), records);
    writeFile(board.filePath("db", QStringLiteral("EMAIL.BIN")),
              QByteArray(qsizetype(kMessages) * kTextLength, 'm'));
}

// Runs the event loop until the form's pass ends; gives its wall time and the longest gap
// between two turns of the loop meanwhile.
struct Pass {
    double ms;
    double longestStallMs;
};
Pass watchPass(UserListForm& form, const std::function<void()>& start) {
    QEventLoop loop;
    QObject::connect(&form, &UserListForm::passFinished, &loop, &QEventLoop::quit);
    QElapsedTimer sinceTurn;
    qint64 longest = 0;
    QTimer turns;
    turns.setInterval(0);
    QObject::connect(&turns, &QTimer::timeout, [&] {
        longest = std::max(longest, sinceTurn.nsecsElapsed());
        sinceTurn.restart();
    });
    QElapsedTimer wall;
    wall.start();
    sinceTurn.start();
    turns.start();
    start();
    // Whatever `start` did before the loop runs again counts as a stall too.
    loop.exec();
    longest = std::max(longest, sinceTurn.nsecsElapsed());
    return {double(wall.nsecsElapsed()) / 1e6, double(longest) / 1e6};
}

void click(QWidget& form, const char* button) {
    form.findChild<QPushButton*>(QLatin1String(button))->click();
}

void reportPass(const char* what, const Pass& pass, double baselineMs) {
    report(what, pass.ms, baselineMs);
    std::printf("%-52s %9.3f ms\n", "  longest event-loop stall", pass.longestStallMs);
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    TestBoard tb;
    tb.loadSettings();
    Board& board = *tb.board;
    const QByteArray userBytes = users();
    const QString userPath = board.path(userLayout());
    const QString indexPath = board.path(userIndexLayout());
    writeFile(userPath, userBytes);
    if (!useraccounts::rebuildIndex(board).ok())
        qFatal("cannot write the index");
    writeMail(board);
    const QString mailPath = board.filePath("db", QStringLiteral("EMAIL.DAT"));
    const QString storePath = board.filePath("db", QStringLiteral("EMAIL.BIN"));

    const double rawUsers = timeMs([&] {
        rawRead(userPath);
        rawRead(indexPath);
    });
    std::printf("USERFILE.DAT, %d users (%lld bytes) and USERFILE.IDX\n", kUsers,
                qlonglong(userBytes.size()));
    report("raw read of USERFILE.DAT and USERFILE.IDX", rawUsers, rawUsers);
    const listtables::ListTable& table = listtables::named("USERFILE.DAT");
    report("user list: built, loaded and painted", timeMs([&] {
               UserListForm form(table.rows(board, 0, {}), board);
               if (!form.load())
                   qFatal("the users did not load");
               form.show();
               form.grab();
           }),
           rawUsers);

    UserListForm form(table.rows(board, 0, {}), board);
    if (!form.load())
        qFatal("the users did not load");
    form.show();
    auto* find = form.findChild<QLineEdit*>(QStringLiteral("txtFind"));
    report("find: the last key of \"Real Name 1999\" typed",
           timeMs([&] { QTest::keyClick(find, Qt::Key_9); },
                  [&] { find->setText(QStringLiteral("Real Name 199")); }),
           rawUsers);
    report("rebuild of USERFILE.IDX (on this thread)", timeMs([&] {
               if (!useraccounts::rebuildIndex(board).ok())
                   qFatal("the index was not written");
           }),
           rawUsers);

    const double rawMail = timeMs([&] {
        rawRead(mailPath);
        rawRead(storePath);
    });
    std::printf("\nEMAIL.DAT, %d messages (%lld bytes) and EMAIL.BIN (%lld bytes)\n", kMessages,
                qlonglong(QFileInfo(mailPath).size()), qlonglong(QFileInfo(storePath).size()));
    report("raw read of EMAIL.DAT and EMAIL.BIN", rawMail, rawMail);
    auto* list = form.findChild<QListView*>(QStringLiteral("lstUsers"));
    list->setCurrentIndex(form.model().index(999));
    tb.dialogs.answers = {true};
    reportPass("delete user 1000 with its purge, in the form",
               watchPass(form, [&] { click(form, "cmdDelete"); }), rawMail);
    reportPass("compress (the last 50 users free), in the form",
               watchPass(form, [&] { click(form, "cmdCompress"); }), rawUsers);
    std::printf("users left after compress: %d\n", form.model().rowCount());
    return 0;
}
