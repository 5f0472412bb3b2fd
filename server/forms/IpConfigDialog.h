#pragma once

#include "platform/Result.h"

#include <QDialog>

#include <array>

class Board;
class QLineEdit;
class QListView;
class QListWidget;
class QPushButton;
class TableModel;

// frmIpConfig: the list of caller addresses the server blocks or, in the other mode, is the
// only one it lets in. An IPv4 address is typed into four boxes, one part each; IPv6 addresses
// and networks have a list and a box of their own.
class IpConfigDialog : public QDialog {
    Q_OBJECT
  public:
    explicit IpConfigDialog(Board& board, QWidget* parent = nullptr);

    // Every way of closing (Close, Escape, the window's own button) comes through here.
    void done(int result) override;

  private:
    void select(int row);
    void fillV6(int row);
    void addEntry();
    void removeEntry();
    void setMode(qint16 mode);
    // A failed file operation: the error report, as the list's other failures get.
    void report(const Result<>& done);

    Board& board_;
    TableModel* entries_;
    QListView* list_;
    QListWidget* v6List_;
    QLineEdit* v6Entry_;
    std::array<QLineEdit*, 4> parts_;
    QPushButton* add_;
};
