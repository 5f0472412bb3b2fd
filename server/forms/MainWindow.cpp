#include "server/forms/MainWindow.h"

#include "console/ConsoleViews.h"
#include "console/DebugPane.h"
#include "server/NodeTable.h"
#include "server/Server.h"
#include "server/forms/FormRegistry.h"
#include "server/forms/NodeMenu.h"
#include "server/forms/TextDisplay.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDesktopServices>
#include <QDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QMouseEvent>
#include <QPainter>
#include <QPlainTextEdit>
#include <QScreen>
#include <QSystemTrayIcon>
#include <QUrl>
#include <QVBoxLayout>

#include <map>

namespace {

QPixmap lamp(const QColor& colour) {
    QPixmap pixmap(16, 16);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(colour);
    painter.setPen(Qt::black);
    painter.drawEllipse(1, 1, 14, 14);
    return pixmap;
}

QIcon trayIcon(int number) {
    switch (number) {
    case 102:
        return QIcon(lamp(Qt::red));
    case 103:
        return QIcon(lamp(Qt::yellow));
    default:
        return QIcon(lamp(Qt::green));
    }
}

QLabel* statusLamp(const char* name, const QColor& colour, QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setObjectName(QLatin1String(name));
    label->setPixmap(lamp(colour));
    label->setVisible(false);
    return label;
}

} // namespace

MainWindow::MainWindow(DebugPane& pane, QWidget* parent) : QMainWindow(parent) {
    setObjectName(QStringLiteral("frmMain"));
    setWindowTitle(QStringLiteral("KELDTS"));
    QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
    file->setObjectName(QStringLiteral("mnuFile"));
    start_ = addMenuAction(file, "mnuFileServerStart", QStringLiteral("Server &Start"));
    stop_ = addMenuAction(file, "mnuFileServerStop", QStringLiteral("Server S&top"));
    offline_ = addMenuAction(file, "mnuFileServerOffline", QStringLiteral("Server &Offline"));
    file->addSeparator();
    QAction* reload =
        addMenuAction(file, "mnuFileReloadCfg", QStringLiteral("&Reload Configuration"));
    file->addSeparator();
    QAction* exit = addMenuAction(file, "mnuFileExit", QStringLiteral("E&xit"));
    buildViews();
    buildFormMenus();

    auto* central = new QWidget(this);
    auto* layout = new QVBoxLayout(central);
    auto* top = new QHBoxLayout;
    green_ = statusLamp("picStatusGreen", Qt::green, central);
    red_ = statusLamp("picStatusRed", Qt::red, central);
    yellow_ = statusLamp("picStatusYellow", Qt::yellow, central);
    info_ = new QLabel(QStringLiteral("KELDTS"), central);
    info_->setObjectName(QStringLiteral("lblInfo"));
    for (QWidget* w : {static_cast<QWidget*>(green_), static_cast<QWidget*>(red_),
                       static_cast<QWidget*>(yellow_), static_cast<QWidget*>(info_)})
        top->addWidget(w);
    top->addStretch();
    layout->addLayout(top);
    nodeList_ = new QListWidget(central);
    nodeList_->setObjectName(QStringLiteral("lstNodelist"));
    layout->addWidget(nodeList_);
    debug_ = new QPlainTextEdit(central);
    debug_->setObjectName(QStringLiteral("txtDebug"));
    debug_->setReadOnly(true);
    debug_->setMaximumBlockCount(pane.maxLines());
    layout->addWidget(debug_);
    debugMenu_ = new QMenu(QStringLiteral("Debug Options"), this);
    debugMenu_->setObjectName(QStringLiteral("mnuDebug"));
    connect(addMenuAction(debugMenu_, "mnuDebugClear", QStringLiteral("Clear Window")),
            &QAction::triggered, &pane, &DebugPane::clear);
    // The menu comes with the right button as on any Linux desktop, and with a double click,
    // which leaves the caret at the end, as the board's sysops know it.
    debug_->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(debug_, &QWidget::customContextMenuRequested, this,
            [this](QPoint at) { debugMenu_->popup(debug_->viewport()->mapToGlobal(at)); });
    debug_->viewport()->installEventFilter(this);
    setCentralWidget(central);
    resize(kFullFormWidth, 480);

    for (const QString& line : pane.lines())
        debug_->appendPlainText(line);
    connect(&pane, &DebugPane::lineAppended, debug_, &QPlainTextEdit::appendPlainText);
    connect(&pane, &DebugPane::cleared, debug_, &QPlainTextEdit::clear);

    connect(start_, &QAction::triggered, this, [this] { server_->serverStart(); });
    connect(stop_, &QAction::triggered, this, [this] { server_->serverStop(); });
    connect(offline_, &QAction::triggered, this, [this] { server_->serverOffline(); });
    connect(reload, &QAction::triggered, this, [this] { server_->reloadConfig(); });
    connect(exit, &QAction::triggered, this,
            [this] { server_->queryUnload(Server::CloseReason::ExitCommand, *dialogs_); });
    buildTools();
    buildTray();
}

void MainWindow::buildViews() {
    QMenu* view = menuBar()->addMenu(QStringLiteral("&View"));
    view->setObjectName(QStringLiteral("mnuView"));
    connect(addMenuAction(view, "mnuViewCallers", QStringLiteral("Today's &Callers")),
            &QAction::triggered, this, [this] {
                showText(QStringLiteral("KELD - Today's Callers"),
                         views::todaysCallers(server_->board()));
            });
    connect(addMenuAction(view, "mnuViewWhosOnline", QStringLiteral("&Who's Online")),
            &QAction::triggered, this, [this] {
                showText(QStringLiteral("KELD - Who's Online"),
                         views::whosOnline(server_->board()));
            });
    view->addSeparator();
    QMenu* misc = nullptr;
    for (const views::LogFile& log : views::logFiles()) {
        if (log.miscellaneous && !misc) {
            misc = view->addMenu(QStringLiteral("&Miscellaneous BBS Logs"));
            misc->setObjectName(QStringLiteral("mnuViewMisc"));
        }
        connect(addMenuAction(log.miscellaneous ? misc : view, log.menu,
                              QString::fromLatin1(log.caption)),
                &QAction::triggered, this, [this, &log] {
                    const QString path = views::logPath(server_->board(), log);
                    if (QFileInfo::exists(path))
                        QDesktopServices::openUrl(QUrl::fromLocalFile(path));
                    else
                        showText(QLatin1String(log.missingTitle),
                                 QLatin1String(views::kFileNotFound));
                });
    }
}

void MainWindow::showText(const QString& title, const QString& text) {
    if (!textDisplay_) {
        textDisplay_ = new TextDisplay(title, text, this);
        textDisplay_->setAttribute(Qt::WA_DeleteOnClose);
    } else {
        textDisplay_->setContent(title, text);
    }
    textDisplay_->show();
    textDisplay_->raise();
}

void MainWindow::buildTools() {
    auto* tools = menuBar()->findChild<QMenu*>(QStringLiteral("mnuTools"));
    tools->addSeparator();
    connect(addMenuAction(tools, "mnuToolsToss", QStringLiteral("Manually &Toss Packets")),
            &QAction::triggered, this,
            [this] { runDuty(server_->scheduledWork().runTossBatch()); });
    connect(addMenuAction(tools, "mnuToolsEventBat", QStringLiteral("Manually Run &KTSEVNT.BAT")),
            &QAction::triggered, this,
            [this] { runDuty(server_->scheduledWork().runEventBatch()); });
    connect(addMenuAction(tools, "mnuToolsKsweep", QStringLiteral("&Clean the Databases (KSWEEP)")),
            &QAction::triggered, this,
            [this] { server_->scheduledWork().sweep(*dialogs_, [](const QString&) {}); });
}

void MainWindow::runDuty(const Result<>& result) {
    if (!result)
        server_->board().logs.reportError(result.error());
}

void MainWindow::buildFormMenus() {
    std::map<std::string_view, QMenu*> menus;
    for (const FormMenu& menu : formMenus()) {
        QMenu* made = menu.parent ? menus.at(menu.parent)->addMenu(QString::fromLatin1(menu.text))
                                  : menuBar()->addMenu(QString::fromLatin1(menu.text));
        made->setObjectName(QLatin1String(menu.name));
        menus[menu.name] = made;
    }
    for (const FormEntry& entry : formEntries()) {
        QAction* action =
            addMenuAction(menus.at(entry.menu), entry.name, QString::fromLatin1(entry.text));
        connect(action, &QAction::triggered, this, [this, &entry] { launch(entry); });
    }
}

void MainWindow::launch(const FormEntry& entry) {
    if (form_) {
        form_->raise();
        form_->activateWindow();
        return;
    }
    FormContext context{server_->board(), *server_,
                        [this] { return nodes_ && nodes_->isNodeInUse(0); }};
    QDialog* form = entry.make(context, this);
    if (!form)
        return;
    form->setAttribute(Qt::WA_DeleteOnClose);
    connect(form, &QDialog::finished, this, [this] { server_->settingsFormClosed(); });
    form_ = form;
    form->open();
}

QAction* MainWindow::addMenuAction(QMenu* menu, const char* name, const QString& text) {
    QAction* action = menu->addAction(text);
    action->setObjectName(QLatin1String(name));
    return action;
}

void MainWindow::buildTray() {
    auto* menu = new QMenu(this);
    menu->setObjectName(QStringLiteral("mnuTray"));
    trayStart_ = addMenuAction(menu, "mnuTrayArray0", QStringLiteral("Server Start"));
    trayStop_ = addMenuAction(menu, "mnuTrayArray1", QStringLiteral("Server Stop"));
    trayOffline_ = addMenuAction(menu, "mnuTrayArray2", QStringLiteral("Server Offline"));
    menu->addSeparator();
    QAction* restore = addMenuAction(menu, "mnuTrayArray3", QStringLiteral("Restore"));
    QAction* exit = addMenuAction(menu, "mnuTrayArray4", QStringLiteral("Exit"));
    connect(trayStart_, &QAction::triggered, start_, &QAction::trigger);
    connect(trayStop_, &QAction::triggered, stop_, &QAction::trigger);
    connect(trayOffline_, &QAction::triggered, offline_, &QAction::trigger);
    connect(restore, &QAction::triggered, this, &MainWindow::bringToFront);
    connect(exit, &QAction::triggered, findChild<QAction*>(QStringLiteral("mnuFileExit")),
            &QAction::trigger);
    if (!QSystemTrayIcon::isSystemTrayAvailable())
        return;
    tray_ = new QSystemTrayIcon(trayIcon(101), this);
    tray_->setObjectName(QStringLiteral("trayIcon"));
    tray_->setContextMenu(menu);
    connect(tray_, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason why) {
                if (why != QSystemTrayIcon::DoubleClick && why != QSystemTrayIcon::Trigger)
                    return;
                bringToFront();
                // The main window waits behind an open form: the form is what wants the sysop.
                if (form_) {
                    beep();
                    form_->raise();
                    form_->activateWindow();
                }
            });
}

void MainWindow::attach(Server* server, Dialogs* dialogs, NodeTable* nodes,
                        NodeCommands* commands) {
    server_ = server;
    dialogs_ = dialogs;
    nodes_ = nodes;
    connect(server, &Server::exitRequested, this, [this] { exiting_ = true; });
    if (commands) {
        nodeMenu_ = new NodeMenu(*commands, *dialogs, this);
        nodeList_->setContextMenuPolicy(Qt::CustomContextMenu);
        connect(nodeList_, &QListWidget::customContextMenuRequested, this, [this](QPoint at) {
            // The row under the pointer is the one acted on, whatever was selected before.
            if (QListWidgetItem* item = nodeList_->itemAt(at))
                nodeList_->setCurrentItem(item);
            nodeMenu_->prepare(nodeList_->currentRow() + 1);
            nodeMenu_->popup(nodeList_->viewport()->mapToGlobal(at));
        });
        connect(nodeList_, &QListWidget::itemDoubleClicked, this,
                [this](QListWidgetItem* item) { nodeMenu_->showNode(nodeList_->row(item) + 1); });
    }
    if (!nodes)
        return;
    // Rows change one by one, so a caller's progress does not redraw the whole list.
    connect(nodes, &NodeTable::rowsResized, nodeList_, [this](int count) {
        while (nodeList_->count() > count)
            delete nodeList_->takeItem(nodeList_->count() - 1);
        while (nodeList_->count() < count)
            nodeList_->addItem(QString());
        if (nodeList_->currentRow() < 0 && count > 0)
            nodeList_->setCurrentRow(0);
    });
    connect(nodes, &NodeTable::rowChanged, nodeList_, [this](int index, const QString& text) {
        if (QListWidgetItem* item = nodeList_->item(index))
            item->setText(text);
    });
}

ScreenGeometry MainWindow::geometry() const {
    const QScreen* screen = QGuiApplication::primaryScreen();
    return {screen ? screen->availableSize() : QSize(1024, 768), frameGeometry().size()};
}

void MainWindow::place(const WindowPlacement& placement) {
    resize(placement.formWidth, height());
    move(placement.topLeft);
}

void MainWindow::setMinimized(bool minimized) {
    setWindowState(minimized ? (windowState() | Qt::WindowMinimized)
                             : (windowState() & ~Qt::WindowMinimized));
}

void MainWindow::applyRunState(const RunStateView& view) {
    using P = RunStateView::Picture;
    green_->setVisible(view.picture == P::Green);
    red_->setVisible(view.picture == P::Red);
    yellow_->setVisible(view.picture == P::Yellow);
    start_->setEnabled(view.startEnabled);
    stop_->setEnabled(view.stopEnabled);
    offline_->setEnabled(view.offlineEnabled);
    trayStart_->setEnabled(view.startEnabled);
    trayStop_->setEnabled(view.stopEnabled);
    trayOffline_->setEnabled(view.offlineEnabled);
}

void MainWindow::trayAdd(const QString& tip, int icon) {
    if (!tray_)
        return;
    tray_->setToolTip(tip);
    tray_->setIcon(trayIcon(icon));
    tray_->show();
}

void MainWindow::trayModify(const QString& tip, int icon) {
    if (!tray_)
        return;
    tray_->setToolTip(tip);
    tray_->setIcon(trayIcon(icon));
}

void MainWindow::trayRemove() {
    if (tray_)
        tray_->hide();
}

void MainWindow::setBanner(const QString& text) {
    info_->setText(text);
}

void MainWindow::bringToFront() {
    show();
    setWindowState((windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    raise();
    activateWindow();
}

void MainWindow::beep() {
    QApplication::beep();
}

void MainWindow::closeEvent(QCloseEvent* event) {
    if (exiting_ || !server_) {
        event->accept();
        return;
    }
    // The server decides, maybe after asking; when it goes down the window goes with it.
    server_->queryUnload(Server::CloseReason::CloseButton, *dialogs_);
    event->setAccepted(exiting_);
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == debug_->viewport() && event->type() == QEvent::MouseButtonDblClick) {
        debug_->moveCursor(QTextCursor::End);
        debugMenu_->popup(static_cast<QMouseEvent*>(event)->globalPosition().toPoint());
        return true;
    }
    return QMainWindow::eventFilter(watched, event);
}

void MainWindow::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::WindowStateChange && server_)
        server_->formResized(isMinimized());
}
