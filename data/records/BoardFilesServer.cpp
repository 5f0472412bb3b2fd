#include "data/records/BoardFiles.h"

#include <array>

namespace {

using T = FieldType;

// The BBS fills the reserved parts while a caller is on; the server writes only the idle
// record, so they only have to keep their bytes.
constexpr std::array kControl{
    Field{"baud", 0, T::I32, 4},          Field{"action", 4, T::Str, 24},
    Field{"usernumber", 28, T::I32, 4},   Field{"handle", 32, T::Str, 32},
    Field{"reserved64", 64, T::I32, 4},   Field{"reserved68", 68, T::I16, 2},
    Field{"reserved70", 70, T::I16, 2},   Field{"reserved72", 72, T::I16, 2},
    Field{"timeon", 74, T::Str, 8},       Field{"dateon", 82, T::Str, 6},
    Field{"reserved88", 88, T::I16, 2},   Field{"reserved90", 90, T::I16, 2},
    Field{"reserved92", 92, T::I16, 2},   Field{"credits", 94, T::Str, 8},
    Field{"reserved102", 102, T::Str, 4},
};
static_assert(fieldsAreContiguous(kControl, 106));

// "a.b.c.d", each part a number or "*".
constexpr std::array kIpFilter{
    Field{"address", 0, T::Str, 15},
};
static_assert(fieldsAreContiguous(kIpFilter, 15));

// Written by the board's web front end, one record a web caller.
constexpr std::array kWebCaller{
    Field{"webplace", 0, T::Str, 32},      Field{"webfrom", 32, T::Str, 15},
    Field{"webtime", 47, T::Str, 12},      Field{"webuser", 59, T::I16, 2},
    Field{"webhandle", 61, T::Str, 40},    Field{"webactivity", 101, T::Str, 24},
    Field{"reserved125", 125, T::Str, 32}, Field{"reserved157", 157, T::I16, 2},
};
static_assert(fieldsAreContiguous(kWebCaller, 159));

constexpr std::array kFileTrigger{
    Field{"trigger", 0, T::Str, 250},      Field{"command", 250, T::Str, 250},
    Field{"parameters", 500, T::Str, 80},  Field{"deletetrigger", 580, T::I16, 2},
    Field{"reserved582", 582, T::Str, 18},
};
static_assert(fieldsAreContiguous(kFileTrigger, 600));

// Counted by the board's other programs. The two unnamed 12-byte blocks are theirs alone and
// are carried as bytes.
constexpr std::array kStatistics{
    Field{"callstotal", 0, T::I32, 4},      Field{"callstoday", 4, T::I32, 4},
    Field{"netstotal", 8, T::I32, 4},       Field{"netstoday", 12, T::I32, 4},
    Field{"activitytotal", 16, T::I32, 4},  Field{"activitytoday", 20, T::I32, 4},
    Field{"idletotal", 24, T::I32, 4},      Field{"idletoday", 28, T::I32, 4},
    Field{"reserved32", 32, T::Str, 12},    Field{"downloadstotal", 44, T::I32, 4},
    Field{"downloadstoday", 48, T::I32, 4}, Field{"uploadstotal", 52, T::I32, 4},
    Field{"uploadstoday", 56, T::I32, 4},   Field{"poststotal", 60, T::I32, 4},
    Field{"poststoday", 64, T::I32, 4},     Field{"emailstotal", 68, T::I32, 4},
    Field{"emailstoday", 72, T::I32, 4},    Field{"reserved76", 76, T::Str, 12},
};
static_assert(fieldsAreContiguous(kStatistics, 88));

} // namespace

const RecordLayout& controlLayout() {
    static const RecordLayout layout{"CONTROL.DAT", 106, kControl, "control"};
    return layout;
}

const RecordLayout& ipFilterLayout() {
    static const RecordLayout layout{"KELDTSIP.DAT", 15, kIpFilter};
    return layout;
}

const RecordLayout& webCallerLayout() {
    static const RecordLayout layout{"WEBCALLER.LST", 159, kWebCaller, "dat"};
    return layout;
}

const RecordLayout& fileTriggerLayout() {
    static const RecordLayout layout{"KELDTSTR.DAT", 600, kFileTrigger};
    return layout;
}

const RecordLayout& statisticsLayout() {
    static const RecordLayout layout{"STATKBBS.DAT", 88, kStatistics, "dat"};
    return layout;
}
