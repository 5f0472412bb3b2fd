#pragma once

#include "data/Progress.h"
#include "platform/NodeHost.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <vector>

class Board;
class BoardLogs;
class Dialogs;
class NodeTable;

// What the sysop does to nodes from the node list's popup or `keldts ctl node`: look at their
// consoles, talk to and boot callers with the BBS's own function keys, close or reset nodes, and
// block a caller's address. The BBS has no control channel; keys typed into its console are
// the only way to reach it.
class NodeCommands {
  public:
    enum class Command {
        Show,
        Hide,
        ShowAll,
        HideAll,
        Chat,
        Boot,
        LineNoise,
        BootAll,
        Edit,
        Close,
        Reset,
        ResetAll,
        BlockIp,
    };

    // An entry of the node list's popup; a separator has no caption. `word` is the command's
    // name on the command line, where it has one.
    struct Entry {
        const char* name;
        const char* caption;
        Command command;
        const char* word;
    };
    static const std::vector<Entry>& popup();

    NodeCommands(Board& board, BoardLogs& logs, NodeTable& table, NodeHost& host);

    // Opens the user editor on a user's account: the desktop's form; without one, the
    // sysop is told how to see the account instead.
    std::function<void(int user)> editUser;
    // Where resetting many nodes shows its progress; nowhere unless set.
    void setProgressView(ProgressView* view) { progressView_ = view; }

    // The object names of the popup's entries offered for `node` (0: no row under the pointer).
    QStringList popupEntries(int node);
    using Done = std::function<void(const QString& outcome)>;

    // Runs `command` on `node`; questions go to `answers`, which must outlive them. `done` gets
    // what came of it in a line, once the answers are in.
    void run(Command command, int node, Dialogs& answers, Done done = {});
    // A `keldts ctl` request: "node N show|hide|chat|boot|noise|close|reset|block" or
    // "reset-all|boot-all", each optionally with "--yes" to answer the questions. Nothing when
    // the words are not a node command.
    std::optional<QString> control(const QStringList& words);

    // Deletes CONTROL.DAT and resets every node, after a question and, when a caller is on,
    // the reset-all warning; `keldts ctl reset-control`.
    void resetControl(Dialogs& answers, Done done = {});

  private:
    QString showNode(int node, NodeHost::Show how);
    QString showAllNodes(NodeHost::Show how);
    QString typeKeys(Command command, int node);
    QString bootAll();
    QString editNodeUser(int node);
    QString closeNode(int node);
    QString resetNode(int node);
    QString resetAllNodes();
    static QString resetAllWarning();
    // Asks `question` when `ask` holds, then does `act`; without a Yes `refusal` is the outcome.
    void askFirst(bool ask, Dialogs& answers, const QString& title, const QString& question,
                  const QString& refusal, const std::function<QString()>& act, const Done& done);
    // Writes the keystroke command's lines to BBS.LOG and the event log; returns the latter.
    QString logBoth(const QString& bbsLine, const QString& eventLine);
    void reportTrap(const QString& head, const QStringList& details, const QString& logText);
    QString time() const;

    Board& board_;
    BoardLogs& logs_;
    NodeTable& table_;
    NodeHost& host_;
    ProgressView* progressView_ = nullptr;
};
