#include "server/NodeCommands.h"

#include "console/BoardLogs.h"
#include "data/Board.h"
#include "data/FileHelpers.h"
#include "data/RecordFile.h"
#include "data/records/BoardFiles.h"
#include "platform/ProcessTree.h"
#include "platform/SendKeys.h"
#include "server/IpFilter.h"
#include "server/NodeTable.h"

#include <QFile>

namespace {

// Where the error reports send the sysop.
const QString kSupport = QStringLiteral("your KELDTS supplier");

struct Keystrokes {
    const char* keys;
    const char* bbsLog;
    const char* eventLog;
};

Keystrokes keystrokesOf(NodeCommands::Command command) {
    switch (command) {
    case NodeCommands::Command::Chat:
        return {"+{F1}", "CH %1 Entered Chat With SysOp (Shift+F1)",
                "(%1) Entered Chat With SysOp (Shift+F1)"};
    case NodeCommands::Command::LineNoise:
        return {"+{F10}", "CH %1 User Booted Offline By SysOp (Shift+F10)",
                "(%1) User Booted Offline By SysOp (Shift+F10)"};
    default:
        return {"{F10}", "CH %1 User Booted Offline By SysOp (F10)",
                "(%1) User Booted Offline By SysOp (F10)"};
    }
}

QString question(std::initializer_list<const char*> lines) {
    QStringList text;
    for (const char* line : lines)
        text << QString::fromLatin1(line);
    return text.join(QLatin1Char('\n'));
}

const char* const kSomeoneOnNode = "KELDTS detects that a user might currently be using this node.";
const char* const kCheckNode = "Please be sure no user is using this node before continuing!";
const char* const kLoginAgain = "If you reset a node while a user is using it, the user will have "
                                "to login again to continue using the BBS.";
const char* const kProceed = "Do you want to proceed?";

// Answers for a command line, at once: Yes to everything with --yes; otherwise No, remembering
// that a question stood in the way.
class CommandLineAnswers final : public Dialogs {
  public:
    explicit CommandLineAnswers(bool yes) : yes_(yes) {}
    void message(const QString&, const QString&, MessageIcon, Dismissed dismissed) override {
        if (dismissed)
            dismissed();
    }
    void ask(const QString&, const QString&, bool, Answered answered) override {
        refused_ = refused_ || !yes_;
        answered(yes_);
    }
    bool refused() const { return refused_; }

  private:
    bool yes_;
    bool refused_ = false;
};

} // namespace

const std::vector<NodeCommands::Entry>& NodeCommands::popup() {
    static const std::vector<Entry> entries{
        {"mnuNodeShow", "Show Node Window", Command::Show, "show"},
        {"mnuNodeHide", "Hide Node Window", Command::Hide, "hide"},
        {"mnuNodeSeperator", nullptr, Command::Show, nullptr},
        {"mnuNodeShowAll", "Show All Node Windows", Command::ShowAll, nullptr},
        {"mnuNodeHideAll", "Hide All Node Windows", Command::HideAll, nullptr},
        {"mnuNodeSeperator0", nullptr, Command::Show, nullptr},
        {"mnuNodeClose", "Close Node", Command::Close, "close"},
        {"mnuNodeReset", "Reset Node", Command::Reset, "reset"},
        {"mnuNodeResetAll", "Reset All Nodes", Command::ResetAll, "reset-all"},
        {"mnuNodeSeperator1", nullptr, Command::Show, nullptr},
        {"mnuNodeEdit", "Edit This User Account", Command::Edit, nullptr},
        {"mnuNodeChat", "Chat With User", Command::Chat, "chat"},
        {"mnuNodeBoot", "Boot User", Command::Boot, "boot"},
        {"mnuNodeLineNoise", "Boot User With Line Noise", Command::LineNoise, "noise"},
        {"mnuNodeBootAll", "Boot All Users", Command::BootAll, "boot-all"},
        {"mnuNodeSeperator2", nullptr, Command::Show, nullptr},
        {"mnuNodeBlockIp", "Block User's IP", Command::BlockIp, "block"},
    };
    return entries;
}

NodeCommands::NodeCommands(Board& board, BoardLogs& logs, NodeTable& table, NodeHost& host)
    : board_(board), logs_(logs), table_(table), host_(host) {}

QString NodeCommands::time() const {
    return logs_.paneTime();
}

QStringList NodeCommands::popupEntries(int node) {
    QStringList entries{QStringLiteral("mnuNodeReset"), QStringLiteral("mnuNodeResetAll")};
    if (table_.isNodeInUse(0))
        entries << QStringLiteral("mnuNodeShowAll") << QStringLiteral("mnuNodeHideAll")
                << QStringLiteral("mnuNodeBootAll") << QStringLiteral("mnuNodeSeperator0")
                << QStringLiteral("mnuNodeSeperator1");
    if (node >= 1 && table_.isNodeInUse(node) && board_.mainConfig.i16("sysfkey") == 0) {
        entries << QStringLiteral("mnuNodeShow") << QStringLiteral("mnuNodeHide")
                << QStringLiteral("mnuNodeSeperator") << QStringLiteral("mnuNodeClose")
                << QStringLiteral("mnuNodeSeperator1") << QStringLiteral("mnuNodeEdit")
                << QStringLiteral("mnuNodeChat") << QStringLiteral("mnuNodeBoot")
                << QStringLiteral("mnuNodeLineNoise");
        if (board_.serverConfig.i16("ipfiltermode") == 0)
            entries << QStringLiteral("mnuNodeSeperator2") << QStringLiteral("mnuNodeBlockIp");
    }
    entries.removeDuplicates();
    return entries;
}

void NodeCommands::run(Command command, int node, Dialogs& answers, Done done) {
    const auto finish = [&done](const QString& outcome) {
        if (done)
            done(outcome);
    };
    switch (command) {
    case Command::Show:
        return finish(showNode(node, NodeHost::Show::Normal));
    case Command::Hide:
        return finish(showNode(node, NodeHost::Show::Hidden));
    case Command::ShowAll:
        return finish(showAllNodes(NodeHost::Show::Minimized));
    case Command::HideAll:
        return finish(showAllNodes(NodeHost::Show::Hidden));
    case Command::Chat:
    case Command::Boot:
    case Command::LineNoise:
        return finish(typeKeys(command, node));
    case Command::BootAll:
        return finish(bootAll());
    case Command::Edit:
        return finish(editNodeUser(node));
    case Command::Close:
        return askFirst(
            table_.isNodeInUse(node), answers, QStringLiteral("KELDTS - Close Node %1").arg(node),
            question({kSomeoneOnNode,
                      "This action will close the node window and disconnect the "
                      "user.",
                      kCheckNode, kProceed}),
            QStringLiteral("node %1 left alone").arg(node),
            [this, node] { return closeNode(node); }, done);
    case Command::Reset:
        return askFirst(
            table_.isNodeInUse(node), answers, QStringLiteral("KELDTS - Reset Node %1").arg(node),
            question({kSomeoneOnNode, kLoginAgain, kCheckNode, kProceed}),
            QStringLiteral("node %1 left alone").arg(node),
            [this, node] { return resetNode(node); }, done);
    case Command::ResetAll:
        return askFirst(
            table_.isNodeInUse(0), answers, QStringLiteral("KELDTS - Reset All Nodes"),
            resetAllWarning(), QStringLiteral("nodes left alone"),
            [this] { return resetAllNodes(); }, done);
    case Command::BlockIp:
        blockNodeCaller(board_, node);
        return finish(QStringLiteral("node %1: caller's address handled, see the log").arg(node));
    }
}

void NodeCommands::askFirst(bool ask, Dialogs& answers, const QString& title,
                            const QString& question, const QString& refusal,
                            const std::function<QString()>& act, const Done& done) {
    const auto finish = [act, refusal, done](bool yes) {
        const QString outcome = yes ? act() : refusal;
        if (done)
            done(outcome);
    };
    if (!ask)
        return finish(true);
    answers.ask(title, question, false, finish);
}

void NodeCommands::reportTrap(const QString& head, const QStringList& details,
                              const QString& logText) {
    logs_.writeDebugPane(
        QStringLiteral("Error: %1. Send this information to %2:").arg(head, kSupport));
    for (const QString& line : details)
        logs_.writeDebugPane(line);
    logs_.writeDebugPane(QStringLiteral("---Done."));
    logs_.writeEventLog(logText);
}

QString NodeCommands::showNode(int node, NodeHost::Show how) {
    const qint64 window = table_.getNodeWindow(node);
    if (window == 0)
        return QStringLiteral("node %1 has no window").arg(node);
    const Result<QString> shown = host_.show(window, how);
    if (!shown) {
        const bool showing = how == NodeHost::Show::Normal;
        reportTrap(showing ? QStringLiteral("Error Showing Current Node")
                           : QStringLiteral("Error Hiding Current Node"),
                   {QStringLiteral("Node: %1").arg(node), QStringLiteral("Handle: %1").arg(window),
                    shown.error()},
                   (showing ? QStringLiteral("Error Showing Node %1")
                            : QStringLiteral("Error Hiding Node %1"))
                       .arg(node));
        return QStringLiteral("node %1: %2").arg(node).arg(shown.error());
    }
    const QString& note = shown.value();
    if (!note.isEmpty())
        logs_.writeDebugPane(QStringLiteral("%1 : Node %2 - %3").arg(time()).arg(node).arg(note));
    return QStringLiteral("node %1: %2")
        .arg(node)
        .arg(note.isEmpty() ? QStringLiteral("hidden") : note);
}

QString NodeCommands::showAllNodes(NodeHost::Show how) {
    const auto [first, last] = table_.telnetNodes();
    int done = 0;
    for (int node = first; node <= last; ++node) {
        const qint64 window = table_.getNodeWindow(node);
        if (window == 0)
            continue;
        if (const Result<QString> shown = host_.show(window, how); !shown) {
            const bool showing = how != NodeHost::Show::Hidden;
            reportTrap(showing ? QStringLiteral("Error Showing ALL Nodes")
                               : QStringLiteral("Error Hiding ALL Nodes"),
                       {QStringLiteral("Handle: %1").arg(window),
                        QStringLiteral("Node: %1").arg(node), shown.error()},
                       showing ? QStringLiteral("Error Showing ALL Nodes")
                               : QStringLiteral("Error Hiding ALL Nodes"));
            return QStringLiteral("node %1: %2").arg(node).arg(shown.error());
        }
        ++done;
    }
    return QStringLiteral("%1 node windows").arg(done);
}

QString NodeCommands::typeKeys(Command command, int node) {
    const Keystrokes what = keystrokesOf(command);
    // The lines are the sysop's record of what was done, whether or not the keys arrive: the
    // board's own sysops never learnt whether a window took them either.
    const QString logged = logBoth(QString::fromLatin1(what.bbsLog).arg(node),
                                   QString::fromLatin1(what.eventLog).arg(node));
    const qint64 window = table_.getNodeWindow(node);
    QString why = QStringLiteral("the node has no window");
    if (window != 0) {
        // The chat needs the sysop at the node's console; booting does not.
        if (command == Command::Chat) {
            const Result<QString> shown = host_.show(window, NodeHost::Show::Normal);
            if (shown && !shown->isEmpty())
                logs_.writeDebugPane(
                    QStringLiteral("%1 : Node %2 - %3").arg(time()).arg(node).arg(shown.value()));
        }
        const Result<> typed =
            host_.sendKeys(window, parseSendKeys(QString::fromLatin1(what.keys)));
        if (typed)
            return logged;
        why = typed.error();
    }
    logs_.writeDebugPane(
        QStringLiteral("%1 : Node %2 cannot take keys: %3").arg(time()).arg(node).arg(why));
    return QStringLiteral("%1; node %2 cannot take keys: %3").arg(logged).arg(node).arg(why);
}

QString NodeCommands::logBoth(const QString& bbsLine, const QString& eventLine) {
    if (!logs_.writeBbsLog(bbsLine))
        logs_.reportError(QStringLiteral("Error While Writing To BBS.LOG"));
    logs_.writeEventLog(eventLine);
    return eventLine;
}

QString NodeCommands::editNodeUser(int node) {
    Record control(controlLayout());
    if (Result<> read = recordfile::read(table_.controlPath(), node + 1, control); !read)
        return read.error();
    const qint32 user = control.i32("usernumber");
    if (user <= 0)
        return QStringLiteral("node %1 has no user").arg(node);
    if (!editUser)
        return QStringLiteral("node %1: user %2, see keldts table USERFILE.DAT show %2")
            .arg(node)
            .arg(user);
    editUser(user);
    return QStringLiteral("node %1: user %2").arg(node).arg(user);
}

QString NodeCommands::bootAll() {
    const QList<KeyStroke> f10 = parseSendKeys(QStringLiteral("{F10}"));
    for (int node = 1; node <= table_.maxChannel(); ++node) {
        const qint64 window = table_.getNodeWindow(node);
        if (window == 0)
            continue;
        if (const Result<> typed = host_.sendKeys(window, f10); !typed)
            logs_.writeDebugPane(QStringLiteral("%1 : Node %2 cannot take keys: %3")
                                     .arg(time())
                                     .arg(node)
                                     .arg(typed.error()));
    }
    return logBoth(QStringLiteral("CH x All Users Booted Offline By SysOp"),
                   QStringLiteral("(*) All Users Booted Offline By SysOp"));
}

QString NodeCommands::closeNode(int node) {
    if (!killProcessTree(table_.getNodeProcessId(node), false)) {
        logs_.writeDebugPane(QStringLiteral("%1 : Node %2 Closing Failed").arg(time()).arg(node));
        logs_.writeEventLog(QStringLiteral("(%1) Node Closing Failure").arg(node));
        return QStringLiteral("(%1) Node Closing Failure").arg(node);
    }
    table_.resetNodeRecord(node);
    table_.deleteNodeFiles(node);
    table_.refreshNodeList();
    const QString batch = board_.filePath("main", QStringLiteral("KTSN%1.BAT").arg(node));
    if (QFile::exists(batch) && !QFile::remove(batch))
        reportTrap(QStringLiteral("Error Closing Node"),
                   {QStringLiteral("Infile: ") + table_.stateFilePath(node),
                    QStringLiteral("Handle: %1").arg(table_.getNodeWindow(node))},
                   QStringLiteral("Error Resetting Node %1").arg(node));
    logs_.writeDebugPane(QStringLiteral("%1 : Node %2 Closed").arg(time()).arg(node));
    logs_.writeEventLog(QStringLiteral("(%1) Node Closed").arg(node));
    return QStringLiteral("(%1) Node Closed").arg(node);
}

QString NodeCommands::resetNode(int node) {
    table_.resetNodeRecord(node);
    table_.deleteNodeFiles(node);
    table_.refreshNodeList();
    logs_.writeDebugPane(QStringLiteral("%1 : Node %2 Reset").arg(time()).arg(node));
    logs_.writeEventLog(QStringLiteral("(%1) Node Reset").arg(node));
    return QStringLiteral("(%1) Node Reset").arg(node);
}

QString NodeCommands::resetAllWarning() {
    return question({"KELDTS detects that users might currently be using the BBS.", kLoginAgain,
                     "Please be sure that no users are currently online before continuing!",
                     kProceed});
}

void NodeCommands::resetControl(Dialogs& answers, Done done) {
    const QString refusal = QStringLiteral("CONTROL.DAT left alone");
    const auto reset = [this] {
        if (Result<> removed = filehelpers::removeFile(table_.controlPath()); !removed) {
            logs_.reportError(removed.error());
            return removed.error();
        }
        table_.resetNodeRecord(0);
        return resetAllNodes();
    };
    // Past the first question, a caller on a node is worth a second one.
    answers.ask(QStringLiteral("KELDTS - Reset CONTROL.DAT"),
                QStringLiteral("This will delete the CONTROL.DAT file and reset all nodes.\n"
                               "Do you want to proceed?"),
                false, [this, &answers, refusal, reset, done](bool yes) {
                    if (!yes) {
                        if (done)
                            done(refusal);
                        return;
                    }
                    askFirst(table_.isNodeInUse(0), answers,
                             QStringLiteral("KELDTS - Reset All Nodes"), resetAllWarning(), refusal,
                             reset, done);
                });
}

QString NodeCommands::resetAllNodes() {
    // A few nodes are reset before a box could be read.
    constexpr int kNodesWithoutProgress = 5;
    const int nodes = table_.maxChannel();
    ProgressSteps progress(nodes > kNodesWithoutProgress ? progressView_ : nullptr);
    progress.begin(QStringLiteral("KELDTS - Reset All Nodes"), nodes);
    for (int node = 1; node <= nodes; ++node) {
        table_.resetNodeRecord(node);
        table_.deleteNodeFiles(node);
        progress.step(1);
    }
    progress.end();
    table_.refreshNodeList();
    logs_.writeDebugPane(QStringLiteral("%1 : ALL Nodes Reset").arg(time()));
    logs_.writeEventLog(QStringLiteral("(*) ALL Nodes Reset"));
    return QStringLiteral("(*) ALL Nodes Reset");
}

std::optional<QString> NodeCommands::control(const QStringList& request) {
    QStringList words = request;
    const bool yes = words.removeAll(QStringLiteral("--yes")) > 0;
    const bool perNode = words.value(0) == QLatin1String("node");
    if (perNode && words.size() != 3)
        return QStringLiteral("unknown command: usage: node N "
                              "show|hide|chat|boot|noise|close|reset|block [--yes]");
    const QString word = perNode ? words[2] : words.value(0);
    const Entry* entry = nullptr;
    for (const Entry& candidate : popup()) {
        const bool all = QByteArray(candidate.name).endsWith("All");
        if (candidate.word && word == QLatin1String(candidate.word) && all != perNode &&
            (perNode || words.size() == 1))
            entry = &candidate;
    }
    if (!perNode && words == QStringList{QStringLiteral("reset-control")}) {
        CommandLineAnswers answers(yes);
        QString result;
        resetControl(answers, [&result](const QString& outcome) { result = outcome; });
        if (answers.refused())
            return result + QStringLiteral(": add --yes to go ahead");
        return result;
    }
    if (!perNode && !entry)
        return std::nullopt;
    int node = 0;
    if (perNode) {
        bool ok = false;
        node = words[1].toInt(&ok);
        if (!ok || node < 1 || node > table_.maxChannel())
            return QStringLiteral("unknown node: %1").arg(words[1]);
        if (!entry)
            return QStringLiteral("unknown node command: %1").arg(word);
    }
    // The command line offers what the popup offers for the node, no more.
    if (!popupEntries(node).contains(QLatin1String(entry->name)))
        return QStringLiteral("unknown here: %1 is not offered for node %2 now (%3)")
            .arg(word)
            .arg(node)
            .arg(board_.mainConfig.i16("sysfkey") != 0 ? QStringLiteral("SysOp F-key Lockout is on")
                 : !table_.isNodeInUse(node)           ? QStringLiteral("nobody is on it")
                                                       : QStringLiteral("the IP list allows only "
                                                                                  "its entries"));
    CommandLineAnswers answers(yes);
    // The command line's answers come at once, so the outcome is in before run() returns.
    QString result;
    run(entry->command, node, answers, [&result](const QString& outcome) { result = outcome; });
    if (answers.refused())
        return result + QStringLiteral(": a caller may be on it; add --yes to go ahead");
    return result;
}
