#pragma once

#include "data/forms/TableForm.h"

#include <QColor>

#include <functional>

class Board;

// keldpaths: the nine directories of SYSPATHS.CFG. The boxes hold DOS paths as the node
// programs read them; whether one names an existing directory is judged through the drive map.
// OK refuses to save while any of them does not, and reloads the board's settings after a save.
class PathsForm : public TableForm {
    Q_OBJECT
  public:
    PathsForm(Board& board, QWidget* parent = nullptr);

    // False when SYSPATHS.CFG could not be touched; the form has said so and is not to be shown.
    bool loaded() const { return loaded_; }

    // The folder picker of the browse buttons: the native directory chosen from `start`, or ""
    // when the choice was cancelled. A real file dialog unless replaced.
    std::function<QString(const QString& start)> pickFolder;

    // Boxes that name no existing directory get this background.
    static inline const QColor kMissingColour{192, 192, 255};

  private:
    bool exists(const QString& dosPath) const;
    void browse(std::string_view field);
    bool save();

    Board& board_;
    QColor normalColour_;
    bool loaded_ = false;
};
