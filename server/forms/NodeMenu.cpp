#include "server/forms/NodeMenu.h"

#include "server/NodeCommands.h"

namespace {

using Command = NodeCommands::Command;

struct Entry {
    const char* name;
    const char* caption; // none: a separator
    Command command;
};

const Entry kEntries[] = {
    {"mnuNodeShow", "Show Node Window", Command::Show},
    {"mnuNodeHide", "Hide Node Window", Command::Hide},
    {"mnuNodeSeperator", nullptr, Command::Show},
    {"mnuNodeShowAll", "Show All Node Windows", Command::ShowAll},
    {"mnuNodeHideAll", "Hide All Node Windows", Command::HideAll},
    {"mnuNodeSeperator0", nullptr, Command::Show},
    {"mnuNodeClose", "Close Node", Command::Close},
    {"mnuNodeReset", "Reset Node", Command::Reset},
    {"mnuNodeResetAll", "Reset All Nodes", Command::ResetAll},
    {"mnuNodeSeperator1", nullptr, Command::Show},
    {"mnuNodeEdit", "Edit This User Account", Command::Edit},
    {"mnuNodeChat", "Chat With User", Command::Chat},
    {"mnuNodeBoot", "Boot User", Command::Boot},
    {"mnuNodeLineNoise", "Boot User With Line Noise", Command::LineNoise},
    {"mnuNodeBootAll", "Boot All Users", Command::BootAll},
    {"mnuNodeSeperator2", nullptr, Command::Show},
    {"mnuNodeBlockIp", "Block User's IP", Command::BlockIp},
};

} // namespace

NodeMenu::NodeMenu(NodeCommands& commands, Dialogs& dialogs, QWidget* parent)
    : QMenu(QStringLiteral("Node Information"), parent), commands_(commands), dialogs_(dialogs) {
    setObjectName(QStringLiteral("mnuNode"));
    for (const Entry& entry : kEntries) {
        QAction* action =
            entry.caption ? addAction(QString::fromLatin1(entry.caption)) : addSeparator();
        action->setObjectName(QLatin1String(entry.name));
        if (entry.caption)
            connect(action, &QAction::triggered, this,
                    [this, command = entry.command] { commands_.run(command, node_, dialogs_); });
    }
}

void NodeMenu::prepare(int node) {
    node_ = node;
    const QStringList shown = commands_.popupEntries(node);
    for (QAction* action : actions())
        action->setVisible(shown.contains(action->objectName()));
}

void NodeMenu::showNode(int node) {
    commands_.run(Command::Show, node, dialogs_);
}
