#include "server/forms/FormRegistry.h"

#include "data/Board.h"
#include "data/FileHelpers.h"
#include "data/PathDiagnostics.h"
#include "data/SettingsTables.h"
#include "data/forms/ChannelForm.h"
#include "data/forms/ListForm.h"
#include "data/forms/MainConfigForm.h"
#include "data/forms/OrneConfigForm.h"
#include "data/forms/PathsForm.h"
#include "data/forms/ScriptFilesForm.h"
#include "data/forms/ServerConfigForm.h"
#include "data/forms/TextSectionsForm.h"
#include "data/forms/UserListForm.h"
#include "server/NodeCommands.h"
#include "server/Server.h"
#include "server/forms/IpConfigDialog.h"
#include "server/forms/TextDisplay.h"

#include <QFileInfo>

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

// An entry whose form comes with a later part of the suite: it stays in its menu, so the
// sysop finds it where it will be, and says so.
FormEntry pending(const char* menu, const char* name, const char* text) {
    return {
        menu, name, text, nullptr, [text](FormContext& c, QWidget*) -> QDialog* {
            c.board.dialogs.message(
                QStringLiteral("KELDTS - Information"),
                QString::fromLatin1(text).remove(QLatin1Char('&')).remove(QStringLiteral("...")) +
                    QStringLiteral(" is not available yet."),
                MessageIcon::Information);
            return nullptr;
        }};
}

// A job of its own rather than a form: it runs and the menu is free again at once.
FormEntry job(const char* menu, const char* name, const char* text,
              void (*run)(FormContext& context)) {
    return {menu, name, text, nullptr, [run](FormContext& c, QWidget*) -> QDialog* {
                run(c);
                return nullptr;
            }};
}

FormEntry separator(const char* menu) {
    return {menu, nullptr, nullptr, nullptr, {}};
}

// What a duty that could not start says, in the debug pane and the log.
void reportFailure(FormContext& c, const Result<>& result) {
    if (!result)
        c.board.logs.reportError(result.error());
}

// A text file of the board, in the desktop's editor. A file that is not there yet is made
// empty first, once the sysop says so, as an editor would offer.
FormEntry textFile(const char* name, const char* fileName) {
    return {"mnuSettingsKeldconfigText", name, fileName, nullptr,
            [fileName](FormContext& c, QWidget*) -> QDialog* {
                const QString path = c.board.filePath("txt", QLatin1String(fileName));
                Dialogs& dialogs = c.board.dialogs;
                if (QFileInfo::exists(path)) {
                    dialogs.openFile(path);
                    return nullptr;
                }
                dialogs.ask(QStringLiteral("KELDTS - Text Configuration"),
                            QStringLiteral("%1 does not exist.\nDo you want to create it?")
                                .arg(QLatin1String(fileName)),
                            true, [path, &dialogs, &logs = c.board.logs](bool yes) {
                                if (!yes)
                                    return;
                                if (Result<> made = filehelpers::touchFile(path, false); !made)
                                    logs.reportError(made.error());
                                else
                                    dialogs.openFile(path);
                            });
                return nullptr;
            }};
}

FormEntry scriptFilesEntry(const char* name, const char* text, ScriptFilesForm::Kind kind) {
    return {"mnuTools", name, text, nullptr, [kind](FormContext& c, QWidget* parent) {
                return new ScriptFilesForm(c.board, kind, parent);
            }};
}

const FormMenu kMenus[] = {
    {"mnuTools", nullptr, "&Tools"},
    {"mnuToolsDatabase", "mnuTools", "&Databases"},
    {"mnuToolsNetwork", "mnuTools", "&Networks"},
    {"mnuSettings", nullptr, "&Settings"},
    {"mnuSettingsKeldconfig", "mnuSettings", "K&ELD Configuration"},
    {"mnuSettingsKeldconfigDb", "mnuSettingsKeldconfig", "&Databases"},
    {"mnuSettingsKeldconfigNetwork", "mnuSettingsKeldconfig", "&Networks"},
    {"mnuSettingsKeldconfigText", "mnuSettingsKeldconfig", "KELD T&ext Configurations"},
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
             auto* form = new UserListForm(table.rows(c.board, 0, {}), c.board, parent);
             form->setProgressView(c.progress);
             return loaded(form);
         }},
        job("mnuTools", "mnuToolsLogin", "&Local Login",
            [](FormContext& c) { c.server.consoleJobs().localLogin(c.board.dialogs); }),
        job("mnuTools", "mnuToolsResetControl", "&Reset CONTROL.DAT",
            [](FormContext& c) {
                if (NodeCommands* commands = c.server.nodeCommands())
                    commands->resetControl(c.board.dialogs);
            }),
        scriptFilesEntry("mnuToolsFbEditor", "&Function Block Editor...",
                         ScriptFilesForm::Kind::FunctionBlocks),
        scriptFilesEntry("mnuToolsScriptEditor", "&Script Editor...",
                         ScriptFilesForm::Kind::Scripts),
        separator("mnuTools"),
        job("mnuTools", "mnuToolsToss", "Manually &Toss Packets",
            [](FormContext& c) { reportFailure(c, c.server.scheduledWork().runTossBatch()); }),
        job("mnuTools", "mnuToolsEventBat", "Manually Run &KTSEVNT.BAT",
            [](FormContext& c) { reportFailure(c, c.server.scheduledWork().runEventBatch()); }),
        job("mnuTools", "mnuToolsKsweep", "&Clean the Databases (KSWEEP)",
            [](FormContext& c) {
                c.server.scheduledWork().sweep(c.board.dialogs, [](const QString&) {});
            }),
        job("mnuTools", "mnuToolsBbsFinder", "Manually Update &BBSfinder",
            [](FormContext& c) { c.server.bbsFinder().update(); }),
        separator("mnuTools"),
        job("mnuTools", "mnuToolsRefresh", "Refresh BBS &Statistics",
            [](FormContext& c) { c.server.statusPanel().showStatistics(); }),
        job("mnuTools", "mnuToolsHdList", "Refresh &Hard Drive List",
            [](FormContext& c) { c.server.statusPanel().showDriveList(); }),
        job("mnuTools", "mnuToolsAlertIcons", "Refresh &Alert Icons",
            [](FormContext& c) { c.server.statusPanel().showAlertIcons(); }),
        // The window names this entry "Turn &Pager Off" while the pager is on.
        job("mnuTools", "mnuToolsPager", "Turn &Pager On",
            [](FormContext& c) { c.server.statusPanel().togglePager(); }),
        pending("mnuToolsDatabase", "mnuToolsDatabaseCheckDupes", "Check for &Duplicates"),
        pending("mnuToolsDatabase", "mnuToolsDatabaseCheckOrphans", "Check for &Orphan Files..."),
        pending("mnuToolsDatabase", "mnuToolsDatabaseViewGateReport", "View &Gated Report"),
        pending("mnuToolsDatabase", "mnuToolsDatabaseViewActivityReport", "View &Activity Report"),
        pending("mnuToolsDatabase", "mnuToolsDatabaseViewNetReport", "View &Network Report..."),
        pending("mnuToolsDatabase", "mnuToolsDatabaseCreateFileList", "Create &File Listing"),
        pending("mnuToolsNetwork", "mnuToolsNetworkCompile", "&Compile Networks..."),
        pending("mnuToolsNetwork", "mnuToolsNetworkEdit", "&Network Editor..."),
        pending("mnuToolsNetwork", "mnuToolsNetworkInetTwit", "Internet &Twit List..."),
        pending("mnuToolsNetwork", "mnuToolsNetworkMailingLists", "&Mailing Lists..."),
        pending("mnuToolsNetwork", "mnuToolsNetworkHandles", "Rebuild &Handles List"),
        {"mnuSettingsKeldconfig", "mnuSettingsKeldconfigDiagnostics", "BBS Path &Diagnostics",
         nullptr,
         [](FormContext& c, QWidget* parent) -> QDialog* {
             const Result<PathReport> report = runPathDiagnostics(c.board);
             // The report gives up quietly, as it always did.
             if (!report)
                 return nullptr;
             return new TextDisplay(QStringLiteral("KELD - Diagnostics"), report->text, parent);
         }},
        pending("mnuSettingsKeldconfigDb", "mnuSettingsKeldconfigDbMessage", "&Message Bases..."),
        pending("mnuSettingsKeldconfigDb", "mnuSettingsKeldconfigDbFile", "&File Bases..."),
        pending("mnuSettingsKeldconfigDb", "mnuSettingsKeldconfigDbCustom", "&Custom Bases..."),
        pending("mnuSettingsKeldconfigDb", "mnuSettingsKeldconfigDbCompile", "C&ompile Databases"),
        pending("mnuSettingsKeldconfigDb", "mnuSettingsKeldconfigDbNewslst", "&NEWS.LST..."),
        pending("mnuSettingsKeldconfigDb", "mnuSettingsKeldconfigDbOptimize",
                "O&ptimize Databases"),
        pending("mnuSettingsKeldconfigDb", "mnuSettingsKeldconfigDbQwkReset", "&Reset QWK Numbers"),
        pending("mnuSettingsKeldconfigDb", "mnuSettingsKeldconfigDbQwkSet", "&Set QWK Numbers..."),
        pending("mnuSettingsKeldconfigNetwork", "mnuSettingsKeldconfigNetworkKlink", "&KLINK..."),
        pending("mnuSettingsKeldconfigNetwork", "mnuSettingsKeldconfigNetworkMiscKlink",
                "&Other KLINK Networks..."),
        pending("mnuSettingsKeldconfigNetwork", "mnuSettingsKeldconfigNetworkKlive", "KLI&VE..."),
        pending("mnuSettingsKeldconfigNetwork", "mnuSettingsKeldconfigNetworkInet", "&Internet..."),
        pending("mnuSettingsKeldconfigNetwork", "mnuSettingsKeldconfigNetworkFido", "&FidoNet..."),
        pending("mnuSettingsKeldconfigNetwork", "mnuSettingsKeldconfigNetworkQwk", "&QWK..."),
        textFile("mnuSettingsKeldconfigTextCbv", "CBV.TXT"),
        textFile("mnuSettingsKeldconfigTextFreedl", "FREEDL.TXT"),
        textFile("mnuSettingsKeldconfigTextNetmail", "NETONLY.TXT"),
        textFile("mnuSettingsKeldconfigTextNewUMail", "NEWUMAIL.TXT"),
        textFile("mnuSettingsKeldconfigTextNewUser", "NEWUSER.TXT"),
        textFile("mnuSettingsKeldconfigTextExclude", "EXCLUDE.TXT"),
        textFile("mnuSettingsKeldconfigTextTrashcan", "TRASHCAN.TXT"),
        textFile("mnuSettingsKeldconfigTextZip", "ZIPCOMNT.TXT"),
        {"mnuSettings", "mnuSettingsOrne", "&ORNE Configuration...", nullptr,
         [](FormContext& c, QWidget* parent) { return OrneConfigForm::open(c.board, parent); }},
        job("mnuSettings", "mnuSettingsAutoNodeSetup", "Automatic &Node Setup",
            [](FormContext& c) { c.server.consoleJobs().autoNodeSetup(c.board.dialogs); }),
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
