#include "server/forms/MainWindow.h"
#include "server/BoardNodes.h"
#include "server/NodeCommands.h"
#include "server/Server.h"
#include "server/forms/GuiDialogs.h"
#include "support/FakeNodeHost.h"
#include "support/ServerTimers.h"
#include "support/TestBoard.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QFile>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

namespace {

class MainWindowTest : public ::testing::Test {
  protected:
    void start(const QString& commandLine = {}) {
        window.attach(&server, &board.dialogs, &nodes.table(), &commands);
        ASSERT_TRUE(server.load(commandLine, board.mainDir()));
    }
    template <typename T> T* child(const char* name) {
        return window.findChild<T*>(QLatin1String(name));
    }
    // Which lamp is lit and which of start/stop/offline can be chosen, in the File menu and
    // in the tray menu alike.
    std::string shownState() {
        std::string lamp;
        for (const char* name : {"picStatusGreen", "picStatusRed", "picStatusYellow"}) {
            if (child<QLabel>(name)->isVisibleTo(&window))
                lamp += name;
        }
        std::string menus;
        for (const char* name : {"mnuFileServerStart", "mnuFileServerStop", "mnuFileServerOffline",
                                 "mnuTrayArray0", "mnuTrayArray1", "mnuTrayArray2"})
            menus += child<QAction>(name)->isEnabled() ? '1' : '0';
        return lamp + " " + menus;
    }

    TestBoard board{0}; // any free port
    FakeNodeHost host;
    BoardNodes nodes{*board.board, board.logs, host};
    MainWindow window{board.pane};
    Server server{*board.board, board.logs, board.pane, nodes, window};
    NodeCommands commands{*board.board, board.logs, nodes.table(), host};
};

TEST_F(MainWindowTest, RunStatesLightOneLampAndEnableTheOtherCommands) {
    start();
    EXPECT_EQ(shownState(), "picStatusGreen 011011");
    child<QAction>("mnuFileServerStop")->trigger();
    EXPECT_EQ(shownState(), "picStatusRed 101101");
    child<QAction>("mnuTrayArray2")->trigger();
    EXPECT_EQ(shownState(), "picStatusYellow 110110");
    child<QAction>("mnuFileServerStart")->trigger();
    EXPECT_EQ(shownState(), "picStatusGreen 011011");
    EXPECT_EQ(child<QPlainTextEdit>("txtDebug")->toPlainText(),
              "12:00:00 : Server has Stopped Accepting Connections\n"
              "12:00:00 : Server is now in Offline Mode\n"
              "12:00:00 : Server has Resumed Normal Operation");
    child<QAction>("mnuDebugClear")->trigger();
    EXPECT_EQ(child<QPlainTextEdit>("txtDebug")->toPlainText(), QString());
}

TEST_F(MainWindowTest, LoadingShowsTheBannerTheNodesAndTheBbsFinderStartsTheTimersAndTheAboutBox) {
    start();
    EXPECT_EQ(child<QLabel>("lblInfo")->text().section("\r\n", 0, 0),
              "KELDTS [2.6.060524] executed @ 12:00:00 03/14/2026");
    auto* list = child<QListWidget>("lstNodelist");
    ASSERT_EQ(list->count(), 4);
    EXPECT_EQ(list->item(3)->text(), "Node 4 - Waiting...");
    EXPECT_EQ(list->currentRow(), 0);
    for (int timer = 1; timer <= 4; ++timer)
        EXPECT_TRUE(timerRuns(server, timer)) << timer;
    EXPECT_EQ(child<QLabel>("lblBBSFinder")->text(), "BBSfinder: Disabled");
    board.clock.set(board.clock.now().addSecs(61));
    child<QAction>("mnuHelpAbout")->trigger();
    auto* about = child<QDialog>("frmAbout");
    ASSERT_TRUE(about);
    EXPECT_EQ(about->findChild<QLabel*>("lblUptime")->text(),
              "Uptime: 0 days, 0 hours, 1 minutes, 1 seconds");
    EXPECT_FALSE(about->findChild<QPushButton*>("cmdSysInfo")->isEnabled());
}

TEST_F(MainWindowTest, CloseButtonOnlyMinimisesWhenClosingToTaskbar) {
    board.setServerFlag("closetotaskbar", 1);
    start();
    window.show();
    QSignalSpy exits(&server, &Server::exitRequested);
    window.close();
    EXPECT_TRUE(window.isMinimized());
    EXPECT_EQ(exits.count(), 0);
    passFirstSecond(server);
    child<QAction>("mnuFileExit")->trigger();
    EXPECT_EQ(exits.count(), 1);
}

TEST_F(MainWindowTest, MinimisingGoesToTheTrayAndIsRemembered) {
    board.setServerFlag("mintotray", 1);
    start();
    window.show();
    window.setMinimized(true);
    EXPECT_FALSE(window.isVisible());
    EXPECT_EQ(board.board->windowState.i16("windowminimized"), 1);
}

TEST_F(MainWindowTest, ResetWindowSwitchForgetsTheSavedPosition) {
    board.setServerFlag("savewindowpos", 1);
    Record state(windowStateLayout());
    state.setI32("windowtop", 5);
    state.setI32("windowleft", 7);
    board.writeRecord("KELDTS.DAT", state);
    start(QStringLiteral("  /resetwindow=x "));
    EXPECT_EQ(board.record(serverConfigLayout(), "KELDTS.CFG").i16("savewindowpos"), 0);
    EXPECT_FALSE(QFile::exists(board.file("KELDTS.DAT")));
    EXPECT_NE(window.pos(), QPoint(7, 5));
}

TEST_F(MainWindowTest, NodeListPopupActsOnTheRowUnderThePointer) {
    start();
    host.add(NodeTable::windowTitle(2), 42);
    nodes.table().refreshNodeList();
    auto* list = child<QListWidget>("lstNodelist");
    const auto visible = [&] {
        QStringList names;
        for (QAction* action : child<QMenu>("mnuNode")->actions())
            if (action->isVisible() && !action->isSeparator())
                names << action->objectName();
        return names;
    };
    emit list->customContextMenuRequested(list->visualItemRect(list->item(2)).center());
    EXPECT_EQ(list->currentRow(), 2);
    EXPECT_EQ(visible(), QStringList({"mnuNodeShowAll", "mnuNodeHideAll", "mnuNodeReset",
                                      "mnuNodeResetAll", "mnuNodeBootAll"}));
    child<QMenu>("mnuNode")->hide();

    emit list->customContextMenuRequested(list->visualItemRect(list->item(1)).center());
    EXPECT_EQ(visible().size(), 13); // every entry
    child<QAction>("mnuNodeBoot")->trigger();
    ASSERT_EQ(host.typed.size(), 1);
    EXPECT_EQ(host.typed[0].first, 42);
    child<QMenu>("mnuNode")->hide();

    emit list->itemDoubleClicked(list->item(1));
    EXPECT_EQ(host.shown.value(0), std::make_pair(qint64(42), NodeHost::Show::Normal));
}

TEST_F(MainWindowTest, CallersAreAdmittedWhileASettingsFormIsOpen) {
    start();
    passFirstSecond(server);
    child<QAction>("mnuSettingsKeldts")->trigger();
    QPointer<QDialog> form = window.openForm();
    ASSERT_TRUE(form && form->isVisible());
    // Another entry while a form is open brings that form forward instead of a second one.
    child<QAction>("mnuSettingsKeldconfigMain")->trigger();
    EXPECT_EQ(window.openForm(), form);
    QTcpSocket caller;
    caller.connectToHost(QHostAddress::LocalHost, server.listeningPort());
    EXPECT_TRUE(QTest::qWaitFor([&] { return caller.bytesAvailable() > 0; }, 10000))
        << "the server did not answer while the form was open";
    EXPECT_TRUE(form->isVisible());
    // Whatever the form did, the node list shows the settings as they are when it closes.
    board.board->mainConfig.setI16("maxchannelno", 2);
    form->close();
    EXPECT_TRUE(QTest::qWaitFor([&] { return !form; }));
    EXPECT_EQ(child<QListWidget>("lstNodelist")->count(), 2);
}

TEST_F(MainWindowTest, CheckForUpdatesSaysWhereToGetTheProgramOrStartsIt) {
    start();
    child<QAction>("mnuHelpUpdate")->trigger();
    ASSERT_FALSE(board.dialogs.shown.empty());
    EXPECT_EQ(board.dialogs.shown.back().title, "Kts Update");
    EXPECT_FALSE(child<QDialog>("frmKtsUpdate"));

    // The program may be a Linux script; it is started with the type chosen, and left alone.
    board.write("ktsupdate.sh", "#!/bin/sh\necho \"$@\" > update-args.txt\n");
    QFile::setPermissions(board.file("ktsupdate.sh"), QFile::ReadOwner | QFile::ExeOwner);
    board.board->platform.updater = board.file("ktsupdate.sh");
    child<QAction>("mnuHelpUpdate")->trigger();
    auto* form = child<QDialog>("frmKtsUpdate");
    ASSERT_TRUE(form);
    EXPECT_EQ(form->findChild<QComboBox*>("updatetype")->currentText(), "Official Releases");
    form->findChild<QComboBox*>("updatetype")->setCurrentIndex(0);
    form->findChild<QPushButton*>("cmdOk")->click();
    EXPECT_TRUE(QTest::qWaitFor([&] { return board.read("update-args.txt") == "/TYPE=1\n"; }));
}

// The panel shows the board's files at start; the Tools menu reads each part again.
TEST_F(MainWindowTest, TheStatusPanelShowsTheBoardsFilesAndTheToolsMenuRefreshesIt) {
    board.setServerFlag("savewindowpos", 1);
    Record statistics(statisticsLayout());
    statistics.setI32("callstotal", 1234);
    board.writeRecord("DATA/STATKBBS.DAT", statistics);
    start();
    const auto text = [&](const char* name) { return child<QLabel>(name)->text(); };
    const auto lit = [&](const char* name) { return child<QLabel>(name)->isVisibleTo(&window); };
    EXPECT_EQ(window.windowTitle(), "KELDTS - KELD Demo Board (4 Nodes)");
    EXPECT_EQ(text("lblStatsCallsTotal"), "1234");
    EXPECT_EQ(text("lblHdDrive1"), "C:");
    EXPECT_TRUE(text("lblHdPct1").endsWith('%'));
    EXPECT_EQ(text("lblHdDrive2"), "");
    EXPECT_TRUE(!lit("imgFileIcon") && lit("imgFileIcon_Disabled"));

    statistics.setI32("callstotal", 1235);
    board.writeRecord("DATA/STATKBBS.DAT", statistics);
    Record upload(mailLayout());
    board.writeRecord("DB/UPLOADS.DAT", upload);
    child<QAction>("mnuToolsAlertIcons")->trigger();
    EXPECT_TRUE(lit("imgFileIcon") && !lit("imgFileIcon_Disabled"));
    EXPECT_EQ(text("lblStatsCallsTotal"), "1234") << "the alerts' refresh leaves the figures";
    child<QAction>("mnuToolsRefresh")->trigger();
    EXPECT_EQ(text("lblStatsCallsTotal"), "1235");

    child<QAction>("mnuToolsPager")->trigger();
    EXPECT_TRUE(lit("imgPager") && !lit("imgPager_Disabled"));
    EXPECT_EQ(child<QAction>("mnuToolsPager")->text(), "Turn &Pager Off");

    QStringList tray;
    for (QAction* action : child<QMenu>("mnuTray")->actions())
        tray << (action->isSeparator() ? "-" : action->text());
    EXPECT_EQ(tray.join('|'), "Server Start|Server Stop|Server Offline|-|Local Login|Turn Pager "
                              "Off|-|Today's Callers|Who's Online|View BBS Log|View KELDTS "
                              "Log|-|Exit");

    window.show();
    QTest::mouseClick(child<QLabel>("picShrink"), Qt::LeftButton);
    EXPECT_EQ(window.width(), kShrunkFormWidth);
    EXPECT_TRUE(lit("picExpand") && !lit("picShrink") && !lit("lblStatsCallsTotal"));
    EXPECT_EQ(board.record(windowStateLayout(), "KELDTS.DAT").i16("panelshrunk"), 1);
}

// Once a minute the settings are read again, and a wrong starting node is said each time. On
// the desktop that is one box that stays up, not a new box a minute while the sysop is away.
TEST(MinuteReload, ABadSettingKeepsOneBoxUpNotOneAMinute) {
    TestBoard files{0};
    files.setServerFlag("startnode", 0);
    GuiDialogs dialogs;
    Board board(files.clock, dialogs, files.logs,
                readPlatformSettings(files.file(QStringLiteral("KELDTS.INI"))));
    FakeNodeHost host;
    BoardNodes nodes{board, files.logs, host};
    MainWindow window{files.pane};
    Server server{board, files.logs, files.pane, nodes, window};
    window.attach(&server, &dialogs, &nodes.table());
    ASSERT_TRUE(server.load({}, files.mainDir()));
    auto* minute = server.findChild<QTimer*>(QStringLiteral("Timer3"));
    ASSERT_NE(minute, nullptr);
    minute->setInterval(10);
    QSignalSpy ticks(minute, &QTimer::timeout);
    ASSERT_TRUE(QTest::qWaitFor([&] { return ticks.count() >= 3; }));
    int boxes = 0;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        auto* box = qobject_cast<QMessageBox*>(widget);
        boxes += box && box->isVisible() && box->text() == "Starting node is less than one!";
    }
    EXPECT_EQ(boxes, 1);
}

} // namespace
