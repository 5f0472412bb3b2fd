#pragma once

#include <QColor>
#include <QString>

#include <functional>

class Board;
class QLineEdit;
class QWidget;

// The browse buttons of the boxes that hold a DOS directory.
namespace folderbrowse {

// Offers a choice of native directory, starting from `start`, and hands the one chosen to
// `chosen`, later; a cancelled choice hands over nothing.
using Picker =
    std::function<void(const QString& start, std::function<void(const QString&)> chosen)>;

// A real folder dialog over `parent`, titled "Please select a folder.", that leaves the event
// loop running.
Picker fileDialog(QWidget* parent);

// Lets the sysop pick the directory of `box` and puts it there as the node programs reach it,
// through the drive map. A folder on no mapped drive, or one too long for the box, is refused in
// a box and the text left as it was; a box gone by the time of the choice takes nothing.
void browse(const Board& board, QLineEdit* box, const Picker& pick);

// Boxes that name no existing directory get this background.
inline const QColor kMissingColour{192, 192, 255};
// Gives `box` the missing directory's background while its text names no existing directory,
// and `normal` otherwise.
void markMissing(const Board& board, QLineEdit* box, const QColor& normal);

} // namespace folderbrowse
