#pragma once

#include "data/forms/FolderBrowse.h"
#include "data/forms/RecordDialog.h"

#include <QColor>

class Board;

// keldpaths: the nine directories of SYSPATHS.CFG. The boxes hold DOS paths as the node
// programs read them; whether one names an existing directory is judged through the drive map.
// Nothing is saved while any of them does not; whoever opens the form loads the settings again
// after a save.
class PathsForm : public RecordDialog {
    Q_OBJECT
  public:
    explicit PathsForm(Board& board, QWidget* parent = nullptr);

    // The folder picker of the browse buttons; a real file dialog unless replaced.
    folderbrowse::Picker pickFolder;

    // Boxes that name no existing directory get this background.
    static inline const QColor kMissingColour = folderbrowse::kMissingColour;

  private:
    void browse(const QString& field);

    Board& board_;
};
