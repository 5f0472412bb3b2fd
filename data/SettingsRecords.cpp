#include "data/SettingsRecords.h"

#include <array>

namespace {

using T = FieldType;

constexpr std::array kSysPaths{
    Field{"main", 0, T::Str, 40},    Field{"script", 40, T::Str, 40},
    Field{"dat", 80, T::Str, 40},    Field{"reservedpath", 120, T::Str, 40},
    Field{"txt", 160, T::Str, 40},   Field{"control", 200, T::Str, 40},
    Field{"temp", 240, T::Str, 40},  Field{"db", 280, T::Str, 40},
    Field{"sysop", 320, T::Str, 40}, Field{"fdx", 360, T::Str, 40},
};
static_assert(fieldsAreContiguous(kSysPaths, 400));

constexpr std::array kMainConfig{
    Field{"bbsname", 0, T::Str, 40},        Field{"sysopname", 40, T::Str, 40},
    Field{"timeout", 80, T::I32, 4},        Field{"reserved84", 84, T::Str, 24},
    Field{"reserved108", 108, T::I16, 2},   Field{"reserved110", 110, T::Str, 12},
    Field{"reserved122", 122, T::Str, 5},   Field{"reserved127", 127, T::Str, 6},
    Field{"sblank", 133, T::I16, 2},        Field{"lastdailymaint", 135, T::Str, 6},
    Field{"reservekb", 141, T::I16, 2},     Field{"timezone", 143, T::Str, 12},
    Field{"creditcost", 155, T::I16, 2},    Field{"allowhandle", 157, T::I16, 2},
    Field{"allowremote", 159, T::I16, 2},   Field{"newuserpw", 161, T::Str, 8},
    Field{"systempw", 169, T::Str, 16},     Field{"reserved185", 185, T::Str, 16},
    Field{"reserved201", 201, T::I16, 2},   Field{"nucredits", 203, T::I16, 2},
    Field{"wfcdrives", 205, T::Str, 5},     Field{"maxchannelno", 210, T::I16, 2},
    Field{"netlowtime", 212, T::Str, 5},    Field{"nethightime", 217, T::Str, 5},
    Field{"redials", 222, T::I16, 2},       Field{"polldelay", 224, T::I16, 2},
    Field{"reserved226", 226, T::Str, 12},  Field{"autopostsl", 238, T::I16, 2},
    Field{"emlother", 240, T::I16, 2},      Field{"emlsysfile", 242, T::I16, 2},
    Field{"emlotherfile", 244, T::I16, 2},  Field{"multimail", 246, T::I16, 2},
    Field{"carboncopy", 248, T::I16, 2},    Field{"fileratio", 250, T::F32, 4},
    Field{"reserved254", 254, T::Str, 34},  Field{"autosysopsl", 288, T::I16, 2},
    Field{"autosysoptime", 290, T::I16, 2}, Field{"qwklimit", 292, T::I16, 2},
    Field{"needwfcpw", 294, T::I16, 2},     Field{"mailholdtime", 296, T::I16, 2},
    Field{"newusersl", 298, T::I16, 2},     Field{"newusertime", 300, T::I16, 2},
    Field{"reserved302", 302, T::Str, 12},  Field{"maxtimebank", 314, T::I16, 2},
    Field{"logdetail", 316, T::I16, 2},     Field{"qwkfilename", 318, T::Str, 6},
    Field{"forcefilename", 324, T::I16, 2}, Field{"inversebar", 326, T::I16, 2},
    Field{"displaynet", 328, T::I16, 2},    Field{"logoffbat", 330, T::I16, 2},
    Field{"ringtoanswer", 332, T::I16, 2},  Field{"reserved334", 334, T::I16, 2},
    Field{"forcefeedback", 336, T::I16, 2}, Field{"uploadscan", 338, T::I16, 2},
    Field{"reserved340", 340, T::I16, 2},   Field{"cbvsl", 342, T::I16, 2},
    Field{"cbvtime", 344, T::I16, 2},       Field{"checkpolls", 346, T::I16, 2},
    Field{"prontomail", 348, T::I16, 2},    Field{"credperpost", 350, T::I16, 2},
    Field{"credperuplk", 352, T::I16, 2},   Field{"credperdlk", 354, T::I16, 2},
    Field{"formatlevel", 356, T::I16, 2},   Field{"secuploads", 358, T::I16, 2},
    Field{"detectfido", 360, T::I16, 2},    Field{"reserved362", 362, T::I16, 2},
    Field{"reserved364", 364, T::I16, 2},   Field{"ignoreext", 366, T::I16, 2},
    Field{"tossopt", 368, T::I16, 2},       Field{"sysfkey", 370, T::I16, 2},
};
static_assert(fieldsAreContiguous(kMainConfig, 372));

constexpr std::array kServerConfig{
    Field{"startnode", 0, T::I16, 2},
    Field{"telnetport", 2, T::I16, 2},
    Field{"maxconnections", 4, T::I16, 2},
    Field{"runminimized", 6, T::I16, 2},
    Field{"dailymaint", 8, T::I16, 2},
    Field{"eventbatch", 10, T::I16, 2},
    Field{"eventbatchdate", 12, T::Str, 6},
    Field{"bbsfindenable", 18, T::I16, 2},
    Field{"bbsfindusername", 20, T::Str, 40},
    Field{"bbsfindpassword", 60, T::Str, 40},
    Field{"savewindowpos", 100, T::I16, 2},
    Field{"mintotray", 102, T::I16, 2},
    Field{"networktossing", 104, T::I16, 2},
    Field{"beeponconnect", 106, T::I16, 2},
    Field{"resolvehostname", 108, T::I16, 2},
    Field{"maxlogsize", 110, T::I32, 4},
    Field{"keldevents", 114, T::I16, 2},
    Field{"autoload", 116, T::I16, 2},
    Field{"netfosssleep", 118, T::I16, 2},
    Field{"netfossdelay", 120, T::I16, 2},
    Field{"netfossbuffer", 122, T::I16, 2},
    Field{"ipfiltermode", 124, T::I16, 2},
    Field{"autoconfig", 126, T::I16, 2},
    Field{"showeventwindow", 128, T::I16, 2},
    Field{"pathwarned", 130, T::I16, 2},
    Field{"updatetype", 132, T::I16, 2},
    Field{"lastupdatecheck", 134, T::Str, 6},
    Field{"monitortimezone", 140, T::I16, 2},
    Field{"updatefreq", 142, T::I16, 2},
    Field{"closetotaskbar", 144, T::I16, 2},
    Field{"refreshstatsinterval", 146, T::I16, 2},
};
static_assert(fieldsAreContiguous(kServerConfig, 148));

// Two thresholds (maxconnections, runminimized) lie below their field's end on purpose: an
// old file of that length keeps the bytes it has.
constexpr std::array kServerConfigDefaults{
    ServerConfigDefault{"startnode", 2, 1, {}},
    ServerConfigDefault{"telnetport", 4, 23, {}},
    ServerConfigDefault{"maxconnections", 5, 1, {}},
    ServerConfigDefault{"runminimized", 6, 1, {}},
    ServerConfigDefault{"dailymaint", 10, 1, {}},
    ServerConfigDefault{"eventbatch", 12, 0, {}},
    ServerConfigDefault{"eventbatchdate", 18, 0, "today"},
    ServerConfigDefault{"bbsfindenable", 20, 0, {}},
    ServerConfigDefault{"bbsfindusername", 60, 0, ""},
    ServerConfigDefault{"bbsfindpassword", 100, 0, ""},
    ServerConfigDefault{"savewindowpos", 102, 0, {}},
    ServerConfigDefault{"mintotray", 104, 0, {}},
    ServerConfigDefault{"networktossing", 106, 1, {}},
    ServerConfigDefault{"beeponconnect", 108, 0, {}},
    ServerConfigDefault{"resolvehostname", 110, 0, {}},
    ServerConfigDefault{"maxlogsize", 114, 1048576, {}},
    ServerConfigDefault{"keldevents", 116, 0, {}},
    ServerConfigDefault{"autoload", 118, 1, {}},
    ServerConfigDefault{"netfosssleep", 120, 20, {}},
    ServerConfigDefault{"netfossdelay", 122, 100, {}},
    ServerConfigDefault{"netfossbuffer", 124, 100, {}},
    ServerConfigDefault{"ipfiltermode", 126, 0, {}},
    ServerConfigDefault{"autoconfig", 128, 1, {}},
    ServerConfigDefault{"showeventwindow", 130, 0, {}},
    ServerConfigDefault{"pathwarned", 132, 0, {}},
    ServerConfigDefault{"updatetype", 134, 3, {}},
    ServerConfigDefault{"lastupdatecheck", 140, 0, "000000"},
    ServerConfigDefault{"monitortimezone", 142, 1, {}},
    ServerConfigDefault{"updatefreq", 144, 1, {}},
    ServerConfigDefault{"closetotaskbar", 146, 0, {}},
    ServerConfigDefault{"refreshstatsinterval", 148, 5, {}},
};
static_assert(kServerConfigDefaults.size() == kServerConfig.size());

constexpr std::array kWindowState{
    Field{"windowtop", 0, T::I32, 4},
    Field{"windowleft", 4, T::I32, 4},
    Field{"windowminimized", 8, T::I16, 2},
    Field{"panelshrunk", 10, T::I16, 2},
};
static_assert(fieldsAreContiguous(kWindowState, 12));

constexpr std::array kServerData{
    Field{"reserved0", 0, T::Str, 6},       Field{"reserved6", 6, T::Str, 15},
    Field{"serverversion", 21, T::Str, 15}, Field{"reserved36", 36, T::Str, 15},
    Field{"reserved51", 51, T::Str, 15},
};
static_assert(fieldsAreContiguous(kServerData, 66));

constexpr std::array<std::string_view, 9> kDirectoryFields{
    "main", "script", "dat", "txt", "control", "temp", "db", "sysop", "fdx"};

} // namespace

const RecordLayout& sysPathsLayout() {
    static const RecordLayout layout{"SYSPATHS.CFG", 400, kSysPaths};
    return layout;
}

const RecordLayout& mainConfigLayout() {
    static const RecordLayout layout{"MAIN.CFG", 372, kMainConfig};
    return layout;
}

const RecordLayout& serverConfigLayout() {
    static const RecordLayout layout{"KELDTS.CFG", 148, kServerConfig};
    return layout;
}

const RecordLayout& windowStateLayout() {
    static const RecordLayout layout{"KELDTS.DAT", 12, kWindowState};
    return layout;
}

const RecordLayout& serverDataLayout() {
    static const RecordLayout layout{"KTSDATA.DAT", 66, kServerData};
    return layout;
}

std::span<const ServerConfigDefault> serverConfigDefaults() {
    return kServerConfigDefaults;
}

std::span<const std::string_view> sysPathDirectoryFields() {
    return kDirectoryFields;
}
