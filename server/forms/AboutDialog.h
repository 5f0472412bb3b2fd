#pragma once

#include <QDialog>

class Board;
class QLabel;

// frmAbout: the version, how long the server has run and what it holds in memory, as they
// stand when the box opens.
class AboutDialog : public QDialog {
    Q_OBJECT
  public:
    AboutDialog(const Board& board, QWidget* parent = nullptr);

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    const Board& board_;
    QLabel* webLink_;
};
