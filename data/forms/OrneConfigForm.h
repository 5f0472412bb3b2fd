#pragma once

#include "data/forms/FolderBrowse.h"

#include <QDialog>

#include <utility>
#include <vector>

class Board;
class QLineEdit;

namespace orne {
struct Field;
}

// orneconfig: the settings of the internet mail and news kit in ORNE-INET.INI. Nothing typed is
// checked: the kit's directories may not exist yet, and a path that names none is only shown
// in the missing directory's colour.
class OrneConfigForm : public QDialog {
    Q_OBJECT
  public:
    explicit OrneConfigForm(Board& board, QWidget* parent = nullptr);

    // The form over `parent`, filled from the file, as the menu opens it; nullptr, after the
    // box that says so, when the file could not be read.
    static QDialog* open(Board& board, QWidget* parent);
    // Fills the boxes from the file, which gets its [ORNE] section first; false, after the box,
    // when that fails.
    bool load();

    // The folder picker of the browse buttons; a real file dialog unless replaced.
    folderbrowse::Picker pickFolder;

  private:
    void save();

    Board& board_;
    QString iniPath_;
    QColor normal_;
    std::vector<std::pair<const orne::Field*, QLineEdit*>> boxes_;
};
