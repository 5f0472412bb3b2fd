#pragma once

#include "data/Progress.h"

#include <QDialog>

class QLabel;
class QProgressBar;

// frmStatusBar: the progress box of a pass that takes a while, shown beside the main window
// without holding it up.
class StatusBarForm : public QDialog, public ProgressView {
    Q_OBJECT
  public:
    explicit StatusBarForm(QWidget* parent = nullptr);

    void showProgress(const QString& title) override;
    void setProgress(int percent, const QString& caption) override;
    void hideProgress() override;

  private:
    QLabel* label_;
    QProgressBar* bar_;
};
