#include "server/forms/FormRegistry.h"

#include "data/Board.h"
#include "data/PathDiagnostics.h"
#include "data/SettingsTables.h"
#include "data/forms/ChannelForm.h"
#include "data/forms/ListForm.h"
#include "data/forms/MainConfigForm.h"
#include "data/forms/PathsForm.h"
#include "data/forms/ScriptFilesForm.h"
#include "data/forms/ServerConfigForm.h"
#include "data/forms/TextSectionsForm.h"
#include "data/forms/UserListForm.h"
#include "server/Server.h"
#include "server/forms/IpConfigDialog.h"
#include "server/forms/TextDisplay.h"

namespace {

// A record form that could not read its record has said so and is not shown.
QDialog* loaded(RecordDialog* form) {
    if (form->loadRecord())
        return form;
    delete form;
    return nullptr;
}

// A list form that could not read its rows has said so and is not shown.
QDialog* loaded(ListForm* form) {
    if (form->load())
        return form;
    delete form;
    return nullptr;
}

FormEntry listEntry(const char* name, const char* text, const char* fileName,
                    const char* menu = "mnuSettingsKeldconfig") {
    return {menu, name, text, nullptr, [fileName](FormContext& c, QWidget* parent) {
                const listtables::ListTable& table = listtables::named(fileName);
                return loaded(new ListForm(table, table.rows(c.board, 0, {}), c.board, parent));
            }};
}

FormEntry scriptFilesEntry(const char* name, const char* text, ScriptFilesForm::Kind kind) {
    return {"mnuTools", name, text, nullptr, [kind](FormContext& c, QWidget* parent) {
                return new ScriptFilesForm(c.board, kind, parent);
            }};
}

const FormMenu kMenus[] = {
    {"mnuTools", nullptr, "&Tools"},
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
        listEntry("mnuSettingsKeldconfigDownload", "&Download Protocols...", "DOWNLOAD.CFG"),
        listEntry("mnuSettingsKeldconfigUpload", "&Upload Protocols...", "UPLOAD.CFG"),
        listEntry("mnuSettingsKeldconfigEvents", "&Events...", "EVENTS.CFG"),
        listEntry("mnuSettingsKeldconfigDoors", "D&oors...", "DOORS.CFG"),
        listEntry("mnuSettingsKeldconfigVote", "&Voting Questions...", "VOTE.CFG"),
        listEntry("mnuSettingsKeldconfigRandom", "&Random Messages...", "RANDOM.CFG"),
        {"mnuSettingsKeldconfig", "mnuSettingsKeldconfigTextSect", "&Text Sections...", nullptr,
         [](FormContext& c, QWidget* parent) {
             return loaded(new TextSectionsForm(c.board, parent));
         }},
        listEntry("mnuSettingsKeldconfigMultifb", "Multi-&Feedback Profiles...", "MULTIFBX.CFG"),
        listEntry("mnuSettingsKeldconfigQuickval", "&Validation Profiles...", "QUICKVAL.CFG"),
        listEntry("mnuSettingsKeldconfigTelecon", "Tele&conference Rooms...", "ROOMn.CFG"),
        listEntry("mnuSettingsKeldconfigActions", "&Action Commands...", "ACTION.CFG"),
        listEntry("mnuSettingsKeldconfigIrc", "&IRC Servers...", "IRC-S.CFG"),
        listEntry("mnuSettingsKeldconfigAutoresp", "Auto&responder...", "AUTORESP.CFG"),
        {"mnuTools", "mnuToolsUserEditor", "&User Editor...", nullptr,
         [](FormContext& c, QWidget* parent) {
             const listtables::ListTable& table = listtables::named("USERFILE.DAT");
             return loaded(new UserListForm(table.rows(c.board, 0, {}), c.board, parent));
         }},
        scriptFilesEntry("mnuToolsFbEditor", "&Function Block Editor...",
                         ScriptFilesForm::Kind::FunctionBlocks),
        scriptFilesEntry("mnuToolsScriptEditor", "&Script Editor...",
                         ScriptFilesForm::Kind::Scripts),
        {"mnuSettingsKeldconfig", "mnuSettingsKeldconfigDiagnostics", "BBS Path &Diagnostics",
         nullptr,
         [](FormContext& c, QWidget* parent) -> QDialog* {
             const Result<PathReport> report = runPathDiagnostics(c.board);
             // The report gives up quietly, as it always did.
             if (!report)
                 return nullptr;
             return new TextDisplay(QStringLiteral("KELD - Diagnostics"), report->text, parent);
         }},
        listEntry("mnuSettingsTriggers", "File &Triggers...", "KELDTSTR.DAT", "mnuSettings"),
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
