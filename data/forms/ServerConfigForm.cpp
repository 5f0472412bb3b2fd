#include "data/forms/ServerConfigForm.h"

#include "data/Board.h"
#include "data/SystemConfig.h"

#include <QCheckBox>
#include <QComboBox>

namespace {

using formtable::Control;
using formtable::Entry;

constexpr int kBasic = 0;
constexpr int kAdvanced = 1;
constexpr qint16 kMostConnections = 100;

const formtable::Table& table() {
    static const formtable::Table form{
        "keldtsconfig",
        "KELDTS - Configuration",
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

bool checked(const TableForm& form, std::string_view field) {
    return static_cast<QCheckBox*>(form.control(field))->isChecked();
}

} // namespace

ServerConfigForm::ServerConfigForm(Board& board, bool nodeInUse, QWidget* parent)
    : TableForm(table(), serverConfigLayout(), parent), board_(board) {
    onChange = [this, nodeInUse] {
        for (const char* field : {"netfosssleep", "netfossdelay", "netfossbuffer"})
            setFieldEnabled(field, checked(*this, "autoload"));
        for (const char* field : {"bbsfindusername", "bbsfindpassword"})
            setFieldEnabled(field, checked(*this, "bbsfindenable"));
        setFieldEnabled("updatefreq",
                        static_cast<QComboBox*>(control("updatetype"))->currentIndex() != 0);
        setFieldEnabled("telnetport", !nodeInUse);
    };
    onOk = [this] {
        QString unused;
        store(board_.serverConfig, &unused); // numbers are capped here, never refused
        if (board_.serverConfig.i16("maxconnections") > kMostConnections)
            board_.serverConfig.setI16("maxconnections", kMostConnections);
        saveServerConfig(board_);
        loadSystemConfig(board_);
        return true;
    };
    load(board_.serverConfig);
}
