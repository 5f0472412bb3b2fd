#include "data/forms/MainConfigForm.h"

#include "data/Board.h"
#include "data/SettingsSources.h"
#include "data/SettingsTables.h"

#include <QLineEdit>

MainConfigForm::MainConfigForm(Board& board, QWidget* parent)
    : RecordDialog(mainConfigTable(), std::make_unique<MainConfigSource>(board), board.dialogs,
                   parent) {
    RecordEditor* form = editor();
    // The passwords' tool tips say what they are, however the boxes show them.
    connect(form, &RecordEditor::changed, this, [form] {
        for (const char* field : {"systempw", "newuserpw"})
            form->control(field)->setToolTip(static_cast<QLineEdit*>(form->control(field))->text());
    });
}
