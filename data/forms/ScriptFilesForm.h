#pragma once

#include <QDialog>

#include <functional>

class Board;
class QGroupBox;
class QLineEdit;
class QListWidget;

// keldfbeditor and keldscripteditor: the function blocks or the scripts of the script
// directory, made, deleted and opened by name.
class ScriptFilesForm : public QDialog {
    Q_OBJECT
  public:
    enum class Kind { FunctionBlocks, Scripts };

    ScriptFilesForm(Board& board, Kind kind, QWidget* parent = nullptr);

    // Opens a script in the desktop's text editor; replaceable, for whoever drives the form.
    std::function<void(const QString& path)> openInEditor;

  signals:
    // A form this one opened is up.
    void formOpened(QDialog* form);

  private:
    void refresh();
    void create();
    void remove();
    void openSelected();
    QString selected() const;

    Board& board_;
    Kind kind_;
    QGroupBox* frame_;
    QListWidget* files_;
    QLineEdit* newName_;
};
