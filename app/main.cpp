#include "app/BoardCommands.h"
#include "app/DemoNode.h"
#include "app/HeadlessFace.h"
#include "console/BoardLogs.h"
#include "console/DebugPane.h"
#include "data/Board.h"
#include "data/DemoBoard.h"
#include "data/forms/UserEditForm.h"
#include "platform/PlatformSettings.h"
#include "platform/ProcessNodeHost.h"
#include "platform/SingleInstance.h"
#include "platform/TerminationSignals.h"
#include "platform/TmuxNodeHost.h"
#include "server/BoardNodes.h"
#include "server/CommandLine.h"
#include "server/NodeCommands.h"
#include "server/Server.h"
#include "server/forms/GuiDialogs.h"
#include "server/forms/MainWindow.h"
#include "server/forms/StatusBarForm.h"
#include "server/forms/TextDisplay.h"

#include <QApplication>
#include <QDir>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace {

const char* kUsage = "usage: keldts [--headless] [/RESETWINDOW]\n"
                     "       keldts demo [DIR] [--port N] [--no-run] [--headless]\n"
                     "       keldts ctl [--board DIR] start|stop|offline|reload|exit|nodes\n"
                     "       keldts ctl [--board DIR] status [--json]\n"
                     "       keldts ctl [--board DIR] toss|event-batch|ksweep [--yes]\n"
                     "       keldts ctl [--board DIR] view online|today|log NAME\n"
                     "       keldts ctl [--board DIR] node N "
                     "show|hide|chat|boot|noise|close|reset|block [--yes]\n"
                     "       keldts ctl [--board DIR] reset-all|boot-all [--yes]\n"
                     "       keldts table [--board DIR] --list | NAME list|show|insert|delete|"
                     "move|set|head|compress ...\n"
                     "       keldts users [--board DIR] find TEXT [--json] | reindex\n"
                     "       keldts edit [--board DIR] NAME.V|NAME.FB\n"
                     "       keldts diagnose [--board DIR]\n"
                     "       keldts orne [--board DIR] show | set KEY=VALUE...\n"
                     "(ctl talks to the server of the board in DIR, by default the current "
                     "directory; table edits that board's files, see keldts table --help)\n";

bool wantsHeadless(const QStringList& args) {
    if (args.contains(QStringLiteral("--headless")))
        return true;
    return qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") &&
           qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

// A word that would be lost on the server: anything but --headless and /RESETWINDOW, which
// the server reads in any case, with or without a value. A typo must not start a server in
// whatever directory the sysop happened to be in.
bool strayServerWord(const QString& word) {
    const QStringList pieces = word.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    return std::any_of(pieces.begin(), pieces.end(), [](const QString& piece) {
        return piece != QLatin1String("--headless") &&
               getCommandSwitch(piece, QStringLiteral("/RESETWINDOW")).isEmpty();
    });
}

int runControl(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QStringList words = app.arguments().mid(2);
    // The server that answers is the one of the board.
    const QString board = takeBoardOption(words);
    if (words.isEmpty() || board.isEmpty()) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    const Result<QString> reply = SingleInstance::request(
        QDir::cleanPath(QDir::current().absoluteFilePath(board)), words.join(QLatin1Char(' ')));
    if (!reply) {
        printLine(stderr, reply.error());
        return 1;
    }
    printLine(stdout, reply.value());
    return reply->startsWith(QLatin1String("unknown")) ? 2 : 0;
}

// The consoles the nodes run in. tmux is started here, before the first caller's socket
// exists, so that the tmux server inherits none of them.
std::unique_ptr<NodeHost> startNodeHost(const PlatformSettings& platform, const QString& board,
                                        QString* note) {
    const QString runtime = SingleInstance::nodeHostDirectory(board);
    if (platform.nodeHost != QLatin1String("process")) {
        auto tmux = std::make_unique<TmuxNodeHost>(runtime, board);
        tmux->setViewer(platform.viewer);
        const Result<> started = tmux->start();
        if (started)
            return tmux;
        *note = QStringLiteral("Node windows need tmux (%1); nodes run as plain processes")
                    .arg(started.error());
    }
    return std::make_unique<ProcessNodeHost>(runtime, board);
}

struct DemoRequest {
    bool wanted = false;
    bool run = true;
    DemoBoardOptions options;
};

// Runs the server in the current directory until it is told to leave.
int runServer(QCoreApplication& app, SingleInstance& instance, bool headless,
              const QString& commandLine, int demoPort) {
    const QString startDirectory = QDir::currentPath();
    const PlatformSettings platform =
        readPlatformSettings(QDir(startDirectory).filePath(QStringLiteral("KELDTS.INI")));
    DebugPane pane;
    BoardLogs logs(pane);
    SystemClock clock;
    QString hostNote;
    std::unique_ptr<NodeHost> host = startNodeHost(platform, startDirectory, &hostNote);

    std::unique_ptr<MainWindow> window;
    std::unique_ptr<Dialogs> dialogs;
    HeadlessFace headlessFace;
    ConsoleFace* face = &headlessFace;
    if (headless) {
        dialogs = std::make_unique<DefaultAnswerDialogs>();
        QObject::connect(&pane, &DebugPane::lineAppended, &app,
                         [](const QString& line) { printLine(stdout, line); });
    } else {
        window = std::make_unique<MainWindow>(pane);
        dialogs = std::make_unique<GuiDialogs>(window.get());
        face = window.get();
    }
    Board board(clock, *dialogs, logs, platform);
    BoardNodes nodes(board, logs, *host);
    Server server(board, logs, pane, nodes, *face);
    NodeCommands nodeCommands(board, logs, nodes.table(), *host);
    server.setNodeCommands(&nodeCommands);
    server.setNodeHost(host.get());
    if (window) {
        window->attach(&server, dialogs.get(), &nodes.table(), &nodeCommands);
        nodeCommands.editUser = [&board, &window](int user) {
            UserEditForm::openOn(board, user, window.get());
        };
        server.consoleJobs().setProgressView(&window->progressBox());
        nodeCommands.setProgressView(&window->progressBox());
        server.setTextDisplay([&window](const QString& title, const QString& text) {
            auto* display = new TextDisplay(title, text, window.get());
            display->setAttribute(Qt::WA_DeleteOnClose);
            display->show();
        });
    }
    // Connected before the load: a fatal settings error ends the run once its box is closed.
    QObject::connect(
        &server, &Server::exitRequested, &app, [&app](int code) { app.exit(code); },
        Qt::QueuedConnection);
    // Headless, the pane is the program's output already.
    if (!headless)
        QObject::connect(&server, &Server::announced, &app,
                         [](const QString& text) { printLine(stdout, text); });
    if (!server.load(commandLine, startDirectory))
        return app.exec();
    const QString notListening = server.notListening();
    if (headless && !notListening.isEmpty()) {
        // Nobody is at a screen to fix it: a service manager's restart policy has to see it.
        printLine(stderr, QStringLiteral("KELDTS cannot take callers on Telnet port %1: %2")
                              .arg(server.configuredPort())
                              .arg(notListening));
        server.leaveUnattended();
        return 1;
    }
    if (!hostNote.isEmpty())
        logs.writeDebugPane(logs.paneTime() + QStringLiteral(" : ") + hostNote);
    for (const QString& note : instance.notes())
        logs.writeDebugPane(logs.paneTime() + QStringLiteral(" : ") + note);
    QObject::connect(&instance, &SingleInstance::trouble, &app, [&logs](const QString& text) {
        logs.writeDebugPane(logs.paneTime() + QStringLiteral(" : ") + text);
    });
    server.reportPlatformProblems();
    instance.setHandler([&server](const QString& command, std::function<void()>& after) {
        return server.control(command, after);
    });
    TerminationSignals signalsWatcher;
    QObject::connect(&signalsWatcher, &TerminationSignals::terminationRequested, &server,
                     &Server::leaveUnattended);
    if (demoPort > 0)
        printLine(stdout, notListening.isEmpty()
                              ? QStringLiteral(
                                    "KELDTS demo board is up. Connect with:  telnet localhost %1")
                                    .arg(demoPort)
                              : QStringLiteral("KELDTS demo board is up but takes no callers: %1")
                                    .arg(notListening));
    return app.exec();
}

} // namespace

int main(int argc, char** argv) {
    ignoreWriteFailureSignals();
    QStringList args;
    for (int i = 0; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);
    if (args.size() > 1 && args.at(1) == QLatin1String("ctl"))
        return runControl(argc, argv);
    if (args.size() > 1 && args.at(1) == QLatin1String("table"))
        return runTable(argc, argv);
    if (args.size() > 1 && args.at(1) == QLatin1String("users"))
        return runUsers(argc, argv);
    if (args.size() > 1 && args.at(1) == QLatin1String("edit"))
        return runEdit(argc, argv);
    if (args.size() > 1 && args.at(1) == QLatin1String("diagnose"))
        return runDiagnose(argc, argv);
    if (args.size() > 1 && args.at(1) == QLatin1String("orne"))
        return runOrne(argc, argv);
    if (args.size() > 1 && args.at(1) == QLatin1String("demo-node"))
        return runDemoNode(args.mid(2));

    DemoRequest demo;
    QStringList rest = args.mid(1);
    if (!rest.isEmpty() && rest.first() == QLatin1String("demo")) {
        demo.wanted = true;
        demo.options.directory = QStringLiteral("demo-board");
        for (int i = 1; i < rest.size(); ++i) {
            const QString& a = rest.at(i);
            if (a == QLatin1String("--port") && i + 1 < rest.size())
                demo.options.port = rest.at(++i).toInt();
            else if (a == QLatin1String("--no-run"))
                demo.run = false;
            else if (a == QLatin1String("--headless"))
                continue;
            else if (!a.startsWith(QLatin1Char('-')))
                demo.options.directory = a;
            else {
                std::fputs(kUsage, stderr);
                return 2;
            }
        }
        if (demo.options.port < 1 || demo.options.port > 65535) {
            std::fputs(kUsage, stderr);
            return 2;
        }
    } else if (std::any_of(rest.begin(), rest.end(), strayServerWord)) {
        std::fputs(kUsage, stderr);
        return 2;
    }

    const bool headless = wantsHeadless(args);
    std::unique_ptr<QCoreApplication> app;
    if (headless)
        app = std::make_unique<QCoreApplication>(argc, argv);
    else
        app = std::make_unique<QApplication>(argc, argv);

    // The program itself, not argv[0]: started through PATH, argv[0] is a bare name that the
    // nodes' LOADBBS.BAT could not run.
    demo.options.program = QCoreApplication::applicationFilePath();
    // The board is where the server runs: the current directory, or the demo's main directory,
    // made first so that its lock can be taken before a file of the board is written.
    QString board = QDir::currentPath();
    if (demo.wanted && demo.run) {
        board = QDir(demo.options.directory).absoluteFilePath(QStringLiteral("KELD"));
        if (!QDir().mkpath(board)) {
            printLine(stderr, QStringLiteral("Cannot create %1").arg(board));
            return 1;
        }
    }
    // The one-instance check comes before anything is written: a second start touches no file.
    SingleInstance instance(board);
    if (demo.run) {
        const Result<SingleInstance::Claim> claim = instance.acquire();
        if (!claim) {
            printLine(stderr, claim.error());
            return 1;
        }
        if (claim.value() == SingleInstance::Claim::Taken) {
            const Result<QString> reply =
                SingleInstance::request(board, QStringLiteral("activate"));
            printLine(stdout,
                      QStringLiteral("KELDTS is already running on the board in %1; %2")
                          .arg(board, reply ? QStringLiteral("it was asked to come to the front.")
                                            : reply.error()));
            return 0;
        }
    }
    if (demo.wanted) {
        const Result<QString> written = writeDemoBoard(demo.options);
        if (!written) {
            printLine(stderr, written.error());
            return 1;
        }
        const QString& main = written.value();
        printLine(stdout,
                  QStringLiteral("Demo board written to %1").arg(QDir::toNativeSeparators(main)));
        if (!demo.run)
            return 0;
        QDir::setCurrent(main);
    }
    return runServer(*app, instance, headless, rest.join(QLatin1Char(' ')),
                     demo.wanted ? demo.options.port : 0);
}
