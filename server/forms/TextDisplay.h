#pragma once

#include <QDialog>

class QPlainTextEdit;

// frmTextDisplay: a report for the sysop to read, in a fixed font, closed when read.
class TextDisplay : public QDialog {
    Q_OBJECT
  public:
    TextDisplay(const QString& title, const QString& text, QWidget* parent = nullptr);

    QString text() const;
    // A new view in the same window: one window serves them all.
    void setContent(const QString& title, const QString& text);

  private:
    QPlainTextEdit* view_;
};
