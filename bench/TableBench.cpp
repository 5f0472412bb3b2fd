// The list editors on full tables: `keldts table DOORS.CFG list` and the doors list form on
// 200 doors, a move and a delete on 200 voting questions with all their answer files, each
// beside a raw read of the same file in the same run.

#include "BenchTiming.h"
#include "data/ListTables.h"
#include "data/forms/ListForm.h"
#include "data/records/BoardFiles.h"
#include "support/TestBoard.h"

#include <QApplication>
#include <QFile>
#include <QProcess>

#include <cstdio>

namespace {

using benchtiming::rawRead;
using benchtiming::report;
using benchtiming::timeMs;

void runKeldts(const QStringList& args, const QString& directory) {
    QProcess process;
    process.setWorkingDirectory(directory);
    process.start(QStringLiteral(KELDTS_BINARY), args);
    if (!process.waitForFinished(30000) || process.exitCode() != 0)
        qFatal("keldts %s failed", qPrintable(args.join(' ')));
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    TestBoard tb;
    tb.loadSettings();
    Board& board = *tb.board;

    Record door(doorsLayout());
    door.setText("doordesc", QStringLiteral("Trade Wars"));
    door.setText("doorcommand", QStringLiteral("TW.BAT"));
    tb.write("DOORS.CFG", door.bytes().repeated(200));
    const QString doors = board.path(doorsLayout());

    const double rawDoors = timeMs([&] { rawRead(doors); });
    std::printf("DOORS.CFG, 200 doors (%lld bytes)\n", qlonglong(rawRead(doors).size()));
    report("raw read of the file", rawDoors, rawDoors);
    const double cat = timeMs([&] {
        QProcess process;
        process.start(QStringLiteral("/bin/cat"), {doors});
        process.waitForFinished();
    });
    report("/bin/cat of the file, as a process", cat, rawDoors);
    report("keldts table --list (start-up, no file read)", timeMs([&] {
               runKeldts({"table", "--list"}, tb.mainDir());
           }),
           rawDoors);
    report("keldts table DOORS.CFG list", timeMs([&] {
               runKeldts({"table", "DOORS.CFG", "list"}, tb.mainDir());
           }),
           rawDoors);
    const listtables::ListTable& doorsTable = listtables::named("DOORS.CFG");
    report("doors list form: built and loaded", timeMs([&] {
               ListForm form(doorsTable, doorsTable.rows(board, 0, {}), board);
               if (!form.load())
                   qFatal("the doors did not load");
           }),
           rawDoors);

    Record question(voteLayout());
    question.setText("votequestion", QStringLiteral("Which door next?"));
    const QByteArray questions = question.bytes().repeated(200);
    const auto writeVotes = [&] {
        tb.write("VOTE.CFG", questions);
        for (int n = 1; n <= 200; ++n) {
            QFile answers(board.path(voteAnswerLayout(), n));
            if (!answers.open(QIODevice::WriteOnly) || answers.write(QByteArray(200, '\1')) != 200)
                qFatal("cannot write the answers");
        }
    };
    writeVotes();
    const QString vote = board.path(voteLayout());
    const double rawVote = timeMs([&] { rawRead(vote); });
    std::printf("\nVOTE.CFG, 200 questions (%lld bytes) and 200 VOTEn.DAT\n",
                qlonglong(rawRead(vote).size()));
    report("raw read of the file", rawVote, rawVote);
    std::unique_ptr<TableRows> votes = listtables::named("VOTE.CFG").rows(board, 0, {});
    report("move question 100 up", timeMs([&] {
               if (!votes->move(99, true).ok())
                   qFatal("the move failed");
           }),
           rawVote);
    report("delete question 1 (199 answer files renamed)",
           timeMs(
               [&] {
                   if (!votes->remove(0).ok())
                       qFatal("the delete failed");
               },
               writeVotes),
           rawVote);
    return 0;
}
