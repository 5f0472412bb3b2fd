#include "data/forms/ServerConfigForm.h"

#include "data/Board.h"
#include "data/SettingsSources.h"
#include "data/SettingsTables.h"

#include <QCheckBox>
#include <QComboBox>

ServerConfigForm::ServerConfigForm(Board& board, bool nodeInUse, QWidget* parent)
    : RecordDialog(serverConfigTable(), std::make_unique<ServerConfigSource>(board), board.dialogs,
                   parent) {
    RecordEditor* form = editor();
    const auto checked = [form](std::string_view field) {
        return static_cast<QCheckBox*>(form->control(field))->isChecked();
    };
    connect(form, &RecordEditor::changed, this, [form, checked, nodeInUse] {
        for (const char* field : {"netfosssleep", "netfossdelay", "netfossbuffer"})
            form->setFieldEnabled(field, checked("autoload"));
        for (const char* field : {"bbsfindusername", "bbsfindpassword"})
            form->setFieldEnabled(field, checked("bbsfindenable"));
        form->setFieldEnabled(
            "updatefreq",
            static_cast<QComboBox*>(form->control("updatetype"))->currentIndex() != 0);
        form->setFieldEnabled("telnetport", !nodeInUse);
    });
}
