#include "data/forms/MainConfigForm.h"

#include "data/Board.h"
#include "data/EditorErrors.h"
#include "data/FileHelpers.h"
#include "data/RecordFile.h"
#include "data/SystemConfig.h"

#include <QLineEdit>

namespace {

using formtable::Control;
using formtable::Keys;
using formtable::Rule;

constexpr int kGeneral = 0;
constexpr int kOptions = 1;
constexpr int kSecurity = 2;
constexpr qint16 kMostChannels = 100;
constexpr qint16 kFormatLevel = 2;

const char* const kGeneralBox = "General";
const char* const kNetTime = "Reserved Network Time";
const char* const kFlags = "Options";
const char* const kMisc = "Miscellaneous";
const char* const kAutoSysop = "Auto-SysOp Validation";
const char* const kCallBack = "Call-Back Verifier";
const char* const kCredits = "Credit Accounting";
const char* const kLevels = "Security Levels";
const char* const kNewUser = "New User Defaults";

formtable::Entry text(std::string_view field, const char* label, Keys keys = Keys::Any,
                      Rule rule = Rule::None) {
    return {field, label, kGeneral, kGeneralBox, Control::Text, {}, keys, rule};
}
formtable::Entry number(std::string_view field, const char* label, int page, const char* frame) {
    return {field, label, page, frame, Control::Number};
}
formtable::Entry flag(std::string_view field, const char* label) {
    return {field, label, kOptions, kFlags, Control::Flag};
}
formtable::Entry combo(std::string_view field, const char* label, QStringList items) {
    return {field, label, kGeneral, kGeneralBox, Control::Combo, std::move(items)};
}

const formtable::Table& table() {
    static const formtable::Table form{
        "keldmain",
        "KELD - Main Configuration",
        {QStringLiteral("&General"), QStringLiteral("&Options"),
         QStringLiteral("&Security / Time")},
        {
            text("bbsname", "BBS Name:"),
            text("sysopname", "SysOp Name:"),
            text("timezone", "Local Time Zone:"),
            text("newuserpw", "New User Password:", Keys::Capitals),
            text("systempw", "System Password:", Keys::Capitals),
            text("wfcdrives", "WFC Drive List: (eg CD)", Keys::Letters, Rule::Letters),
            text("qwkfilename", "QWK Packet Name:", Keys::Capitals),
            combo("logdetail",
                  "Log Detail:", {QStringLiteral("Normal"), QStringLiteral("Extended")}),
            combo("logoffbat", "Run LOGOFF.BAT:",
                  {QStringLiteral("No"), QStringLiteral("Channel 1 Only"),
                   QStringLiteral("All Channels")}),
            combo("uploadscan", "New Upload Scanner:",
                  {QStringLiteral("Disabled"), QStringLiteral("Scan & Warn"),
                   QStringLiteral("Scan & Delete")}),
            combo("tossopt", "Tossing Options:",
                  {QStringLiteral("Standard"), QStringLiteral("Direct"),
                   QStringLiteral("Background"), QStringLiteral("Direct Background"),
                   QStringLiteral("Loadsense"), QStringLiteral("Direct Loadsense"),
                   QStringLiteral("Background Loadsense"),
                   QStringLiteral("Direct Background Loadsense")}),

            {"netlowtime",
             "Net Low Time:",
             kOptions,
             kNetTime,
             Control::Text,
             {},
             Keys::Any,
             Rule::Time},
            {"nethightime",
             "Net High Time:",
             kOptions,
             kNetTime,
             Control::Text,
             {},
             Keys::Any,
             Rule::Time},
            number("redials", "Redial Attempts:", kOptions, kNetTime),
            number("polldelay", "Network Poll Delay:", kOptions, kNetTime),
            number("maxchannelno", "# Active Channels:", kOptions, kMisc),
            number("timeout", "Inactivity Timeout:", kOptions, kMisc),
            number("sblank", "Blank WFC:", kOptions, kMisc),
            number("reservekb", "Reserve Space (KB):", kOptions, kMisc),
            number("fileratio", "UL/DL Ratio:", kOptions, kMisc),
            number("qwklimit", "QWK Message Limit:", kOptions, kMisc),
            number("mailholdtime", "Mail Hold Time:", kOptions, kMisc),
            number("maxtimebank", "Max Time Bank:", kOptions, kMisc),
            number("ringtoanswer", "Rings To Answer On:", kOptions, kMisc),
            flag("allowhandle", "Allow Handles"),
            flag("allowremote", "Allow Remote SysOp"),
            flag("needwfcpw", "Need WFC Password"),
            flag("forcefilename", "Require Filename Entry"),
            flag("inversebar", "Inverse Bar"),
            flag("displaynet", "Display Networks"),
            flag("forcefeedback", "Force Feedback"),
            flag("checkpolls", "Auto-Check Polls"),
            flag("prontomail", "Allow PRONTOmail"),
            flag("secuploads", "Secure Uploads"),
            flag("detectfido", "Detect FIDOnet"),
            flag("ignoreext", "Ignore Extensions"),
            flag("sysfkey", "SysOp F-key Lockout"),

            number("autosysopsl", "Security Level:", kSecurity, kAutoSysop),
            number("autosysoptime", "Time Limit:", kSecurity, kAutoSysop),
            number("cbvsl", "Security Level:", kSecurity, kCallBack),
            number("cbvtime", "Time Limit:", kSecurity, kCallBack),
            number("creditcost", "Cost/Minute:", kSecurity, kCredits),
            number("credperpost", "Given/Post:", kSecurity, kCredits),
            number("credperuplk", "Given/Upload KB:", kSecurity, kCredits),
            number("credperdlk", "Cost/Download KB:", kSecurity, kCredits),
            number("autopostsl", "Autopost:", kSecurity, kLevels),
            number("emlother", "Email Others:", kSecurity, kLevels),
            number("emlsysfile", "Email SysOp w/ Att:", kSecurity, kLevels),
            number("emlotherfile", "Email Others w/ Att:", kSecurity, kLevels),
            number("multimail", "Multimail:", kSecurity, kLevels),
            number("carboncopy", "Email Carbon-Copy:", kSecurity, kLevels),
            number("newusersl", "Security Level:", kSecurity, kNewUser),
            number("newusertime", "Time Limit:", kSecurity, kNewUser),
            number("nucredits", "Credits:", kSecurity, kNewUser),
        },
        true};
    return form;
}

} // namespace

MainConfigForm::MainConfigForm(Board& board, QWidget* parent)
    : TableForm(table(), mainConfigLayout(), parent), board_(board) {
    const QString path = board_.filePath("main", QStringLiteral("MAIN.CFG"));
    QString error;
    // Read into a cleared record: a file shorter than one record shows as blanks and zeros.
    Record read(mainConfigLayout());
    read.clear();
    if (!filehelpers::touchFile(path, false) || !getMainConfig(board_, read, &error)) {
        editorerrors::listLoadFailed(board_.dialogs);
        return;
    }
    board_.mainConfig = read;
    if (board_.mainConfig.i16("maxchannelno") > kMostChannels)
        board_.mainConfig.setI16("maxchannelno", kMostChannels);
    // The passwords' tool tips say what they are, however the boxes show them.
    onChange = [this] {
        for (const char* field : {"systempw", "newuserpw"})
            control(field)->setToolTip(static_cast<QLineEdit*>(control(field))->text());
    };
    onOk = [this] { return save(); };
    load(board_.mainConfig);
    loaded_ = true;
}

bool MainConfigForm::save() {
    Record edited = board_.mainConfig;
    QString error;
    if (!store(edited, &error)) {
        board_.dialogs.message(QStringLiteral("KELDTS - Error"),
                               error + QStringLiteral(": a number is too large for its box. "
                                                      "Nothing was saved."),
                               MessageIcon::Exclamation);
        return false;
    }
    edited.setI16("formatlevel", kFormatLevel);
    if (edited.i16("maxchannelno") > kMostChannels)
        edited.setI16("maxchannelno", kMostChannels);
    if (!recordfile::write(board_.filePath("main", QStringLiteral("MAIN.CFG")), 1, edited,
                           &error)) {
        editorerrors::saveFailed(board_.dialogs, QStringLiteral("node"), 1);
        return false;
    }
    board_.mainConfig = edited;
    return true;
}
