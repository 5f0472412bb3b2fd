#pragma once

#include "platform/Result.h"
#include "server/ConsoleFace.h"

#include <QDialog>
#include <QMainWindow>
#include <QPointer>

#include <functional>

class StatusBarForm;
class DebugPane;
class QAction;
class QLabel;
class QListWidget;
class QPlainTextEdit;
class TextDisplay;
class QSystemTrayIcon;
class NodeCommands;
struct FormEntry;
class NodeMenu;
class NodeTable;
class Server;
class StatusPanelWidget;
class AlertIcons;

// frmMain: the sysop's console on the desktop. It shows what the server does and passes the
// sysop's commands on; the server's logic lives in Server.
class MainWindow : public QMainWindow, public ConsoleFace {
    Q_OBJECT
  public:
    explicit MainWindow(DebugPane& pane, QWidget* parent = nullptr);

    void attach(Server* server, Dialogs* dialogs, NodeTable* nodes = nullptr,
                NodeCommands* commands = nullptr);

    ScreenGeometry geometry() const override;
    QPoint position() const override { return pos(); }
    void place(const WindowPlacement& placement) override;
    void setMinimized(bool minimized) override;
    void applyRunState(const RunStateView& view) override;
    void trayAdd(const QString& tip, int icon) override;
    void trayModify(const QString& tip, int icon) override;
    void trayRemove() override;
    void setBanner(const QString& text) override;
    void showForm() override { show(); }
    void bringToFront() override;
    void hideForm() override { hide(); }
    void beep() override;
    void showStatusPanel(const StatusPanelView& view) override;
    void setCaption(const QString& caption) override { setWindowTitle(caption); }
    void setMenuVisible(const QString& name, bool visible) override;
    void setBbsFinderCaption(const QString& caption) override;

    // The configuration form that is open over the main window, if any.
    QDialog* openForm() const { return form_; }
    // The progress box of the passes that take a while, whoever starts them.
    StatusBarForm& progressBox() const { return *progressBox_; }

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

  private:
    QAction* addMenuAction(QMenu* menu, const char* name, const QString& text);
    // The View menu: the callers' tables and the logs.
    void buildViews();
    // Shows a view in the one window that serves them all, without blocking.
    void showText(const QString& title, const QString& text);
    // The Tools menu's commands that start the board's unattended duties by hand.
    void buildFormMenus();
    // The Help menu: the project's web pages, the update program and the about box.
    void buildHelp();
    void checkForUpdates();
    // Opens a box of the Help menu, or brings forward the one already open.
    void showHelpBox(QPointer<QDialog>& box, const std::function<QDialog*()>& make);
    void buildTray();
    // The Tools menu's refreshes of the status panel and the pager.
    // The tray icon's click: the form goes to the tray and comes back from it.
    void toggleFromTray();
    // Folds the statistics away or brings them back, at the form's two widths.
    void foldStatistics(bool shrunk);
    // Opens a form from its menu entry; only one is open at a time.
    void launch(const FormEntry& entry);

    QPointer<TextDisplay> textDisplay_;
    Server* server_ = nullptr;
    Dialogs* dialogs_ = nullptr;
    NodeTable* nodes_ = nullptr;
    bool exiting_ = false;
    QAction* start_;
    QAction* stop_;
    QAction* offline_;
    QAction* trayStart_ = nullptr;
    QAction* trayStop_ = nullptr;
    QAction* trayOffline_ = nullptr;
    QLabel* green_;
    QLabel* red_;
    QLabel* yellow_;
    QLabel* info_;
    QLabel* shrink_;
    QLabel* expand_;
    QLabel* bbsFinder_;
    StatusPanelWidget* statusPanel_;
    AlertIcons* alerts_;
    QAction* pager_ = nullptr;
    QAction* trayPager_ = nullptr;
    QListWidget* nodeList_;
    NodeMenu* nodeMenu_ = nullptr;
    QPlainTextEdit* debug_;
    QMenu* debugMenu_;
    QSystemTrayIcon* tray_ = nullptr;
    QPointer<QDialog> form_;
    StatusBarForm* progressBox_;
    QPointer<QDialog> about_;
    QPointer<QDialog> update_;
};
