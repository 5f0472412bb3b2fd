#include "server/forms/MainWindow.h"
#include "server/forms/StatusBarForm.h"

#include "console/ConsoleViews.h"
#include "console/DebugPane.h"
#include "server/NodeTable.h"
#include "server/ProjectLinks.h"
#include "server/Server.h"
#include "server/forms/AboutDialog.h"
#include "server/forms/FormRegistry.h"
#include "server/forms/KtsUpdateDialog.h"
#include "server/forms/NodeMenu.h"
#include "server/forms/StatusWidgets.h"
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
#include <QTimer>
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

QLabel* foldPicture(const char* name, bool shrink, const char* tip, QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setObjectName(QLatin1String(name));
    label->setPixmap(foldArrow(shrink));
    label->setToolTip(QLatin1String(tip));
    label->setCursor(Qt::PointingHandCursor);
    return label;
}

// mnuTray: each place stands for an entry of the main menu; no entry is a separator.
constexpr struct {
    const char* caption;
    const char* entry;
} kTrayMenu[] = {
    {"Server Start", "mnuFileServerStart"},
    {"Server Stop", "mnuFileServerStop"},
    {"Server Offline", "mnuFileServerOffline"},
    {nullptr, nullptr},
    {"Local Login", "mnuToolsLogin"},
    {"Turn Pager On", "mnuToolsPager"},
    {nullptr, nullptr},
    {"Today's Callers", "mnuViewCallers"},
    {"Who's Online", "mnuViewWhosOnline"},
    {"View BBS Log", "mnuViewBbsLog"},
    {"View KELDTS Log", "mnuViewKeldtsLog"},
    {nullptr, nullptr},
    {"Exit", "mnuFileExit"},
};

} // namespace

MainWindow::MainWindow(DebugPane& pane, QWidget* parent)
    : QMainWindow(parent), progressBox_(new StatusBarForm(this)) {
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
    buildHelp();

    auto* central = new QWidget(this);
    auto* columns = new QHBoxLayout(central);
    columns->setSpacing(6);
    auto* layout = new QVBoxLayout;
    columns->addLayout(layout, 1);
    auto* top = new QHBoxLayout;
    green_ = statusLamp("picStatusGreen", Qt::green, central);
    red_ = statusLamp("picStatusRed", Qt::red, central);
    yellow_ = statusLamp("picStatusYellow", Qt::yellow, central);
    info_ = new QLabel(QStringLiteral("KELDTS"), central);
    info_->setObjectName(QStringLiteral("lblInfo"));
    for (QWidget* w : {static_cast<QWidget*>(green_), static_cast<QWidget*>(red_),
                       static_cast<QWidget*>(yellow_)})
        top->addWidget(w);
    info_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    top->addWidget(info_, 1);
    shrink_ = foldPicture("picShrink", true, "Hide BBS statistics.", central);
    expand_ = foldPicture("picExpand", false, "Show BBS statistics.", central);
    expand_->setVisible(false);
    for (QLabel* fold : {shrink_, expand_}) {
        top->addWidget(fold);
        fold->installEventFilter(this);
    }
    layout->addLayout(top);
    // The alerts sit in the menu bar's free corner, in sight whether the statistics are folded
    // or not.
    alerts_ = new AlertIcons(menuBar());
    alerts_->setContentsMargins(0, 2, 6, 0);
    menuBar()->setCornerWidget(alerts_);
    statusPanel_ = new StatusPanelWidget(central);
    // Folded, the form is exactly as much narrower as the statistics are wide.
    statusPanel_->setFixedWidth(kFullFormWidth - kShrunkFormWidth - columns->spacing());
    columns->addWidget(statusPanel_);
    bbsFinder_ = new QLabel(QStringLiteral("BBSfinder:"), statusPanel_);
    bbsFinder_->setObjectName(QStringLiteral("lblBBSFinder"));
    statusPanel_->addFooter(bbsFinder_);
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
    pager_ = findChild<QAction*>(QStringLiteral("mnuToolsPager"));
    buildTray();
    connect(alerts_, &AlertIcons::pagerDoubleClicked, pager_, &QAction::trigger);
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
                        dialogs_->openFile(path);
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

void MainWindow::buildHelp() {
    QMenu* help = menuBar()->addMenu(QStringLiteral("&Help"));
    help->setObjectName(QStringLiteral("mnuHelp"));
    const struct {
        const char* name;
        const char* text;
        const char* address;
    } pages[] = {
        {"mnuHelpWebsite", "KELDTS &Home Page", links::kHomePage},
        {"mnuHelpSupport", "KELDTS &Support", links::kSupport},
        {"mnuHelpDocs", "KELDTS &Documentation", links::kDocumentation},
        {"mnuHelpBBSDocs", "KELD &BBS Documentation", links::kBbsDocumentation},
        {"mnuHelpDonate", "Do&nate", links::kDonate},
    };
    for (const auto& page : pages)
        connect(
            addMenuAction(help, page.name, QLatin1String(page.text)), &QAction::triggered, this,
            [address = page.address] { QDesktopServices::openUrl(QUrl(QLatin1String(address))); });
    help->addSeparator();
    connect(addMenuAction(help, "mnuHelpUpdate", QStringLiteral("&Check For Updates")),
            &QAction::triggered, this, &MainWindow::checkForUpdates);
    help->addSeparator();
    connect(addMenuAction(help, "mnuHelpAbout", QStringLiteral("&About KELDTS...")),
            &QAction::triggered, this, [this] {
                showHelpBox(about_, [this] { return new AboutDialog(server_->board(), this); });
            });
}

void MainWindow::checkForUpdates() {
    if (!server_->updates().installed()) {
        dialogs_->message(QStringLiteral("Kts Update"), updaterMissingText(),
                          MessageIcon::Information);
        return;
    }
    showHelpBox(update_, [this] {
        auto* box = new KtsUpdateDialog([this](int type) { server_->updates().start(type); }, this);
        box->setWindowModality(Qt::WindowModal);
        return box;
    });
}

void MainWindow::showHelpBox(QPointer<QDialog>& box, const std::function<QDialog*()>& make) {
    if (!box) {
        box = make();
        box->setAttribute(Qt::WA_DeleteOnClose);
    }
    box->show();
    box->raise();
    box->activateWindow();
}

void MainWindow::setBbsFinderCaption(const QString& caption) {
    bbsFinder_->setText(QString(caption).replace(QStringLiteral("\r\n"), QStringLiteral("\n")));
}

void MainWindow::showStatusPanel(const StatusPanelView& view) {
    statusPanel_->showView(view);
    alerts_->showView(view);
    pager_->setText(view.pager ? QStringLiteral("Turn &Pager Off")
                               : QStringLiteral("Turn &Pager On"));
    trayPager_->setText(view.pager ? QStringLiteral("Turn Pager Off")
                                   : QStringLiteral("Turn Pager On"));
}

void MainWindow::setMenuVisible(const QString& name, bool visible) {
    if (auto* action = findChild<QAction*>(name))
        action->setVisible(visible);
}

void MainWindow::foldStatistics(bool shrunk) {
    statusPanel_->setVisible(!shrunk);
    shrink_->setVisible(!shrunk);
    expand_->setVisible(shrunk);
    resize(shrunk ? kShrunkFormWidth : kFullFormWidth, height());
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
        if (!entry.name) {
            menus.at(entry.menu)->addSeparator();
            continue;
        }
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
                        [this] { return nodes_ && nodes_->isNodeInUse(0); }, progressBox_};
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
    auto* menu = new QMenu(QStringLiteral("Tray Options"), this);
    menu->setObjectName(QStringLiteral("mnuTray"));
    int place = 0;
    for (const auto& entry : kTrayMenu) {
        const QString name = QStringLiteral("mnuTrayArray%1").arg(place++);
        if (!entry.caption) {
            menu->addSeparator()->setObjectName(name);
            continue;
        }
        QAction* action = menu->addAction(QLatin1String(entry.caption));
        action->setObjectName(name);
        // Each place does what the menu entry of the same job does.
        connect(action, &QAction::triggered, findChild<QAction*>(QLatin1String(entry.entry)),
                &QAction::trigger);
    }
    const QList<QAction*> places = menu->actions();
    trayStart_ = places.at(0);
    trayStop_ = places.at(1);
    trayOffline_ = places.at(2);
    trayPager_ = places.at(5);
    // A form that waits for the sysop comes forward instead of the menu.
    connect(menu, &QMenu::aboutToShow, this, [this, menu] {
        if (!form_)
            return;
        beep();
        form_->raise();
        form_->activateWindow();
        QTimer::singleShot(0, menu, &QMenu::close);
    });
    if (!QSystemTrayIcon::isSystemTrayAvailable())
        return;
    tray_ = new QSystemTrayIcon(trayIcon(101), this);
    tray_->setObjectName(QStringLiteral("trayIcon"));
    tray_->setContextMenu(menu);
    connect(tray_, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason why) {
                // A double click's first press is a click already: one toggle for either.
                if (why == QSystemTrayIcon::Trigger)
                    toggleFromTray();
            });
}

void MainWindow::toggleFromTray() {
    if (form_) {
        beep();
        form_->raise();
        form_->activateWindow();
        return;
    }
    if (isVisible() && !isMinimized()) {
        setMinimized(true);
        hide();
        return;
    }
    bringToFront();
    debug_->moveCursor(QTextCursor::End);
    debug_->ensureCursorVisible();
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
    foldStatistics(placement.panelShrunk);
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
    trayModify(tip, icon);
    if (tray_)
        tray_->show();
}

void MainWindow::trayModify(const QString& tip, int icon) {
    if (!tray_)
        return;
    tray_->setToolTip(QString(tip).replace(QStringLiteral("\r\n"), QStringLiteral("\n")));
    if (icon >= 0)
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
    if ((watched == shrink_ || watched == expand_) && event->type() == QEvent::MouseButtonRelease) {
        const bool shrunk = watched == shrink_;
        foldStatistics(shrunk);
        if (server_)
            server_->foldStatistics(shrunk);
        return true;
    }
    return QMainWindow::eventFilter(watched, event);
}

void MainWindow::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::WindowStateChange && server_)
        server_->formResized(isMinimized());
}
