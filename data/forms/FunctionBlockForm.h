#pragma once

#include "data/forms/ListForm.h"

class RecordEditor;

// keldfbeditorlist: a function block's command lines, with its two head lines in boxes above
// them. The lines are written at each change; the head when the sysop saves it.
class FunctionBlockForm : public ListForm {
    Q_OBJECT
  public:
    FunctionBlockForm(Board& board, const QString& fileName, QWidget* parent = nullptr);

    // Reads the head and the lines. False, after the box, when the file could not be read.
    bool loadAll();

  private:
    void saveHead();

    RecordEditor* head_;
};
