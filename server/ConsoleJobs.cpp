#include "server/ConsoleJobs.h"

#include "data/Board.h"
#include "data/RecordFile.h"
#include "data/records/BoardFiles.h"
#include "data/records/Channels.h"
#include "platform/Dialogs.h"
#include "server/NodeFiles.h"

namespace {

const QString kSetupTitle = QStringLiteral("KELDTS - Automatic Node Setup");
// Up to this many nodes the setup is over before a box could be read.
constexpr int kNodesWithoutProgress = 9;

} // namespace

void ConsoleJobs::localLogin(Dialogs& answers, Done done) {
    const auto finish = [&done](const QString& outcome) {
        if (done)
            done(outcome);
    };
    Record control(controlLayout());
    if (Result<> read = recordfile::read(board_.path(controlLayout()), 1, control); !read)
        return finish(read.error());
    if (control.i32("usernumber") >= 1) {
        answers.message(QStringLiteral("KELDTS - Information"),
                        QStringLiteral("The local node is already being used!"),
                        MessageIcon::Information);
        return finish(QStringLiteral("The local node is already being used!"));
    }
    const QString m = board_.sysPaths.text("main");
    const QStringList lines = nodefiles::batchHead(m, board_.clock.now())
                              << QStringLiteral("PCANSI.COM > NUL.") << QStringLiteral("BBS.EXE 0")
                              << nodefiles::backToMain(m)
                              << QStringLiteral("DEL %1\\KTSLLGN.BAT > NUL.").arg(m)
                              << QStringLiteral("EXIT");
    if (Result<> ran = writeAndRunBatch(board_, runner_, QStringLiteral("KTSLLGN.BAT"),
                                        nodefiles::crlfLines(lines), BatchRunner::Style::Normal);
        !ran) {
        logs_.reportError(ran.error());
        return finish(ran.error());
    }
    finish(QStringLiteral("local login started"));
}

void ConsoleJobs::autoNodeSetup(Dialogs& answers, Done done) {
    const QString question =
        board_.serverConfig.i16("autoconfig") == 1
            ? QStringLiteral("Automatic Node Configuration is active.\nIt is not necessary to "
                             "perform node setup, but will not cause any problems by doing "
                             "so.\nDo you want to proceed?")
            : QStringLiteral("This will change the node configuration to work with KELDTS.\nDo "
                             "you want to proceed?");
    answers.ask(kSetupTitle, question, false, [this, &answers, done](bool yes) {
        QString outcome = QStringLiteral("node setup left alone");
        if (yes) {
            if (Result<> written = writeNodeChannels(); !written) {
                logs_.reportError(QStringLiteral("Error Occurred While Configuring KELDTS Nodes"));
                outcome = written.error();
            } else {
                outcome = QStringLiteral("Automatic Node Setup Has Finished.");
                answers.message(kSetupTitle, outcome, MessageIcon::Information);
            }
        }
        if (done)
            done(outcome);
    });
}

Result<> ConsoleJobs::writeNodeChannels() {
    const int first = board_.serverConfig.i16("startnode");
    const int count = board_.serverConfig.i16("maxconnections");
    ProgressSteps progress(count > kNodesWithoutProgress ? progressView_ : nullptr);
    progress.begin(kSetupTitle, count - 1);
    Result<> written;
    // CHANNELX.CFG fills the first half of the bar, CHANNELS.CFG the rest.
    for (const RecordLayout* file : {&channelXLayout(), &channelsLayout()}) {
        const Record channel = fossilChannel(*file);
        for (int node = first; written && node < first + count; ++node) {
            written = recordfile::write(board_.path(*file), node, channel);
            progress.step(file == &channelXLayout() ? 2 : 0);
        }
        progress.halve();
    }
    progress.end();
    return written;
}
