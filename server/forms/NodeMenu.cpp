#include "server/forms/NodeMenu.h"

#include "server/NodeCommands.h"

NodeMenu::NodeMenu(NodeCommands& commands, Dialogs& dialogs, QWidget* parent)
    : QMenu(QStringLiteral("Node Information"), parent), commands_(commands), dialogs_(dialogs) {
    setObjectName(QStringLiteral("mnuNode"));
    for (const NodeCommands::Entry& entry : NodeCommands::popup()) {
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
    commands_.run(NodeCommands::Command::Show, node, dialogs_);
}
