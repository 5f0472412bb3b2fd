#include "server/forms/FormRegistry.h"

#include "data/Board.h"
#include "data/SettingsTables.h"
#include "data/forms/ChannelForm.h"
#include "data/forms/MainConfigForm.h"
#include "data/forms/PathsForm.h"
#include "data/forms/ServerConfigForm.h"
#include "server/Server.h"
#include "server/forms/IpConfigDialog.h"

namespace {

// A record form that could not read its record has said so and is not shown.
QDialog* loaded(RecordDialog* form) {
    if (form->loadRecord())
        return form;
    delete form;
    return nullptr;
}

const FormMenu kMenus[] = {
    {"mnuSettings", nullptr, "&Settings"},
    {"mnuSettingsKeldconfig", "mnuSettings", "K&ELD Configuration"},
};

const std::vector<FormEntry>& entries() {
    static const std::vector<FormEntry> all{
        {"mnuSettings", "mnuSettingsKeldts", "&KELDTS Configuration...", &serverConfigTable(),
         [](FormContext& c, QWidget* parent) {
             auto* form = new ServerConfigForm(c.board, c.nodeInUse(), parent);
             QObject::connect(form, &RecordDialog::saved, &c.server, &Server::serverConfigChanged);
             return loaded(form);
         }},
        {"mnuSettingsKeldconfig", "mnuSettingsKeldconfigMain", "&Main Configuration...",
         &mainConfigTable(),
         [](FormContext& c, QWidget* parent) {
             return loaded(new MainConfigForm(c.board, parent));
         }},
        {"mnuSettingsKeldconfig", "mnuSettingsKeldconfigChannel", "&Channel Configuration...",
         &channelTable(),
         [](FormContext& c, QWidget* parent) { return loaded(new ChannelForm(c.board, parent)); }},
        {"mnuSettingsKeldconfig", "mnuSettingsKeldconfigPaths", "&Paths Configuration...",
         &sysPathsTable(),
         [](FormContext& c, QWidget* parent) {
             auto* form = new PathsForm(c.board, parent);
             QObject::connect(form, &RecordDialog::saved, &c.server, &Server::reloadConfig);
             return loaded(form);
         }},
        {"mnuSettings", "mnuSettingsIPConfig", "&IP Restrictions...", nullptr,
         [](FormContext& c, QWidget* parent) -> QDialog* {
             return new IpConfigDialog(c.board, parent);
         }},
    };
    return all;
}

} // namespace

std::span<const FormMenu> formMenus() {
    return kMenus;
}

std::span<const FormEntry> formEntries() {
    return entries();
}
