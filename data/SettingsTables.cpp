#include "data/SettingsTables.h"

#include "data/SettingsRecords.h"
#include "data/records/BoardFiles.h"

namespace {

using formtable::Control;
using formtable::Keys;
using formtable::Rule;

constexpr int kBasic = 0;
constexpr int kAdvanced = 1;

constexpr int kGeneral = 0;
constexpr int kOptions = 1;
constexpr int kSecurity = 2;

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

// The device index is the position in this list, so its order is part of the file format.
QStringList deviceItems() {
    QStringList items{QStringLiteral("Local")};
    for (int i = 1; i <= 8; ++i)
        items << QStringLiteral("COM%1").arg(i);
    for (int i = 1; i <= 56; ++i)
        items << QStringLiteral("DigiBoard Port %1").arg(i);
    for (int i = 0; i <= 15; ++i)
        items << QStringLiteral("Fossil Device %1").arg(i);
    return items;
}

} // namespace

const formtable::Table& serverConfigTable() {
    static const formtable::Table form{
        "keldtsconfig",
        "KELDTS - Configuration",
        &serverConfigLayout(),
        {QStringLiteral("&Basic"), QStringLiteral("&Advanced")},
        {
            {"startnode", "Starting Node:", kBasic, "Telnet", Control::Number},
            {"telnetport", "Telnet Port:", kBasic, "Telnet", Control::Number},
            {"maxconnections", "No. of Telnet Nodes:", kBasic, "Telnet", Control::Number},
            {"runminimized",
             "Node Windows:",
             kBasic,
             "Telnet",
             Control::Combo,
             {QStringLiteral("Normal"), QStringLiteral("Minimized"), QStringLiteral("Hidden")}},
            {"autoload", "Internal Node Handling", kBasic, "Nodes", Control::Flag},
            {"netfosssleep", "NetFoss Sleep Time:", kBasic, "Nodes", Control::Number},
            {"netfossdelay", "NetFoss Write Delay Time:", kBasic, "Nodes", Control::Number},
            {"netfossbuffer", "NetFoss Buffer:", kBasic, "Nodes", Control::Number},
            {"autoconfig", "Automatic Node Configuration", kBasic, "Nodes", Control::Flag},
            {"resolvehostname", "Resolve User Hostname", kBasic, "Options", Control::Flag},
            {"beeponconnect", "Beep When a User Connects", kBasic, "Options", Control::Flag},
            {"savewindowpos", "Save Window Position on Exit", kBasic, "Options", Control::Flag},
            {"mintotray", "Minimize to Tray", kBasic, "Options", Control::Flag},
            {"closetotaskbar", "Close to Taskbar", kBasic, "Options", Control::Flag},
            {"dailymaint", "Perform Daily Maintenance", kAdvanced, "Maintenance", Control::Flag},
            {"networktossing", "Perform Message Tossing", kAdvanced, "Maintenance", Control::Flag},
            {"keldevents", "Execute KELD Events", kAdvanced, "Maintenance", Control::Flag},
            {"eventbatch", "Enable KTSEVNT.BAT", kAdvanced, "Maintenance", Control::Flag},
            {"showeventwindow", "Show Event Windows", kAdvanced, "Maintenance", Control::Flag},
            {"maxlogsize", "Maximum Log Size:", kAdvanced, "Maintenance", Control::Number},
            {"bbsfindenable", "Enable BBSfinder", kAdvanced, "BBSfinder", Control::Flag},
            {"bbsfindusername", "Username:", kAdvanced, "BBSfinder", Control::Text},
            {"bbsfindpassword", "Password:", kAdvanced, "BBSfinder", Control::Text},
            {"updatetype",
             "Check for Updates:",
             kAdvanced,
             "Updates",
             Control::Combo,
             {QStringLiteral("Disabled"), QStringLiteral("Latest Build"),
              QStringLiteral("Unofficial and Official Releases"),
              QStringLiteral("Official Releases")}},
            {"updatefreq",
             "Check Every:",
             kAdvanced,
             "Updates",
             Control::Combo,
             {QStringLiteral("Hourly"), QStringLiteral("Daily"), QStringLiteral("Weekly"),
              QStringLiteral("Monthly")}},
            {"monitortimezone", "Auto-Update TimeZone", kAdvanced, "Updates", Control::Flag},
            {"refreshstatsinterval", "Refresh Interval:", kAdvanced, "Updates", Control::Number},
        }};
    return form;
}

const formtable::Table& mainConfigTable() {
    static const formtable::Table form{
        "keldmain",
        "KELD - Main Configuration",
        &mainConfigLayout(),
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

const formtable::Table& sysPathsTable() {
    static const formtable::Table form{
        "keldpaths",
        "KELD - Paths Configuration",
        &sysPathsLayout(),
        {},
        {
            {"main",
             "&Main Directory:",
             0,
             nullptr,
             Control::Path,
             {},
             Keys::Path,
             Rule::Directory},
            {"script",
             "&Scripts Directory:",
             0,
             nullptr,
             Control::Path,
             {},
             Keys::Path,
             Rule::Directory},
            {"dat", "&Data Directory:", 0, nullptr, Control::Path, {}, Keys::Path, Rule::Directory},
            {"txt", "&Text Directory:", 0, nullptr, Control::Path, {}, Keys::Path, Rule::Directory},
            {"control",
             "Co&ntrol Directory:",
             0,
             nullptr,
             Control::Path,
             {},
             Keys::Path,
             Rule::Directory},
            {"temp",
             "Tem&porary Directory:",
             0,
             nullptr,
             Control::Path,
             {},
             Keys::Path,
             Rule::Directory},
            {"db",
             "Data&base Directory:",
             0,
             nullptr,
             Control::Path,
             {},
             Keys::Path,
             Rule::Directory},
            {"sysop",
             "&Upload/Email Directory:",
             0,
             nullptr,
             Control::Path,
             {},
             Keys::Path,
             Rule::Directory},
            {"fdx",
             "&FDX Database Directory:",
             0,
             nullptr,
             Control::Path,
             {},
             Keys::Path,
             Rule::Directory},
        }};
    return form;
}

const formtable::Table& channelTable() {
    static const formtable::Table form{
        "keldchannel",
        "KELD - Channel Configuration",
        &channelXLayout(),
        {},
        {
            {"init1", "Init String &1:", 0, "Modem"},
            {"init2", "Init String &2:", 0, "Modem"},
            {"init3", "Init String &3:", 0, "Modem"},
            {"answer", "&Answer String:", 0, "Modem"},
            {"dial", "&Dial String:", 0, "Modem"},
            {"offhook", "O&ff-Hook String:", 0, "Modem"},
            {"serialport", "Serial Por&t:", 0, "Port", Control::Combo, deviceItems()},
            {"baseaddy", "Base Addr&ess:", 0, "Port", Control::Hex},
            {"irq", "&IRQ:", 0, "Port", Control::Number},
            {"rtscts",
             "CTS/RTS &Handshake:",
             0,
             "Port",
             Control::Combo,
             {QStringLiteral("No"), QStringLiteral("Yes (Normal)"), QStringLiteral("Yes (Slow)")}},
            {"baudrate", "&Baudrate:", 0, "Speed", Control::Number},
            {"lockedbaud", "&Locked", 0, "Speed", Control::Flag},
            {"minbaud", "&Minimum Baudrate:", 0, "Speed", Control::Number},
        }};
    return form;
}
