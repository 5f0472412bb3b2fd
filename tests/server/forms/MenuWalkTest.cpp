// Every entry of the main window's menus, reached the way a sysop reaches it: each opens its
// form once and closes again, or does its job, and none holds the event loop.

#include "server/BoardNodes.h"
#include "server/NodeCommands.h"
#include "server/Server.h"
#include "server/forms/MainWindow.h"
#include "support/FakeNodeHost.h"
#include "support/TestBoard.h"

#include <QAction>
#include <QDialog>
#include <QMenu>
#include <QMenuBar>
#include <QPointer>
#include <QTest>

#include <gtest/gtest.h>

namespace {

// The entries under `menu`, depth first, with the top menu each stands in.
void collect(QMenu* menu, const QString& top, QList<std::pair<QString, QAction*>>& into) {
    for (QAction* action : menu->actions()) {
        if (action->isSeparator())
            continue;
        if (QMenu* sub = action->menu())
            collect(sub, top, into);
        else
            into.append({top, action});
    }
}

TEST(MenuWalk, EveryEntryOpensItsFormOnceOrDoesItsJob) {
    TestBoard board{0};
    FakeNodeHost host;
    BoardNodes nodes{*board.board, board.logs, host};
    MainWindow window{board.pane};
    Server server{*board.board, board.logs, board.pane, nodes, window};
    NodeCommands commands{*board.board, board.logs, nodes.table(), host};
    window.attach(&server, &board.dialogs, &nodes.table(), &commands);
    server.setNodeCommands(&commands);
    server.setNodeHost(&host);
    // Batches the Tools menu starts go to the fake host's windows, or to a runner that does
    // nothing.
    board.board->platform.dosRun = QStringLiteral("/bin/true {batch}");
    ASSERT_TRUE(server.load({}, board.mainDir()));

    QList<std::pair<QString, QAction*>> entries;
    for (QAction* top : window.menuBar()->actions()) {
        // The File menu starts, stops and ends the server itself.
        if (top->menu() && top->menu()->objectName() != QLatin1String("mnuFile"))
            collect(top->menu(), top->menu()->objectName(), entries);
    }
    QStringList tops;
    for (const auto& [top, action] : entries) {
        if (!tops.contains(top))
            tops << top;
    }
    EXPECT_EQ(tops, QStringList({"mnuView", "mnuTools", "mnuSettings", "mnuHelp"}));

    int forms = 0;
    int pending = 0;
    for (const auto& [top, action] : entries) {
        SCOPED_TRACE(action->objectName().toStdString());
        EXPECT_FALSE(action->objectName().isEmpty()) << action->text().toStdString();
        const size_t shown = board.dialogs.shown.size();
        // A form that ran a loop of its own would not come back from here.
        action->trigger();
        if (QPointer<QDialog> form = window.openForm()) {
            EXPECT_TRUE(form->isVisible());
            form->close();
            ASSERT_TRUE(QTest::qWaitFor([&] { return !form; }));
            ++forms;
        }
        if (board.dialogs.shown.size() > shown &&
            board.dialogs.shown.back().text.endsWith(QLatin1String(" is not available yet.")))
            ++pending;
    }
    EXPECT_GE(forms, 24);
    EXPECT_GE(pending, 25);
    // Nothing came of the walk that the sysop would have to be told of.
    for (const QString& line : board.pane.lines())
        EXPECT_FALSE(line.contains(QLatin1String("Error"))) << line.toStdString();
}

} // namespace
