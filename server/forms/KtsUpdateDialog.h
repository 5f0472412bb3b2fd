#pragma once

#include <QDialog>

#include <functional>

class QComboBox;

// frmKtsUpdate: which kind of release the sysop wants the update program to look for now.
class KtsUpdateDialog : public QDialog {
    Q_OBJECT
  public:
    // `start` gets the kind chosen, 1 to 3 as in `updatetype`.
    KtsUpdateDialog(std::function<void(int type)> start, QWidget* parent = nullptr);

  private:
    QComboBox* type_;
};
