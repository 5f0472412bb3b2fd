#include "data/records/BoardFiles.h"

#include <array>

namespace {

using T = FieldType;

// The reserved parts belong to the node programs; the editor must write them back untouched.
constexpr std::array kUser{
    Field{"handle", 0, T::Str, 40},         Field{"realname", 40, T::Str, 40},
    Field{"address", 80, T::Str, 40},       Field{"city", 120, T::Str, 32},
    Field{"state", 152, T::Str, 3},         Field{"zipcode", 155, T::Str, 10},
    Field{"phone1", 165, T::Str, 12},       Field{"phone2", 177, T::Str, 12},
    Field{"password", 189, T::Str, 8},      Field{"reserved197", 197, T::I16, 2},
    Field{"reserved199", 199, T::Str, 40},  Field{"reserved239", 239, T::I32, 4},
    Field{"reserved243", 243, T::Str, 80},  Field{"reserved323", 323, T::I16, 2},
    Field{"reserved325", 325, T::I32, 4},   Field{"reserved329", 329, T::I32, 4},
    Field{"reserved333", 333, T::I16, 2},   Field{"pagebreak", 335, T::I16, 2},
    Field{"bdaymonth", 337, T::I16, 2},     Field{"bdayday", 339, T::I16, 2},
    Field{"bdayyear", 341, T::I16, 2},      Field{"flags", 343, T::Str, 26},
    Field{"accflags", 369, T::I32, 4},      Field{"securitylevel", 373, T::I16, 2},
    Field{"laston", 375, T::Str, 6},        Field{"maxtime", 381, T::I16, 2},
    Field{"timeused", 383, T::I16, 2},      Field{"totalcalls", 385, T::I32, 4},
    Field{"totaltime", 389, T::I32, 4},     Field{"videomode", 393, T::I16, 2},
    Field{"ratiocheck", 395, T::I16, 2},    Field{"verifybday", 397, T::I16, 2},
    Field{"colors1", 399, T::Chr, 1},       Field{"colors2", 400, T::Chr, 1},
    Field{"colors3", 401, T::Chr, 1},       Field{"colors4", 402, T::Chr, 1},
    Field{"colors5", 403, T::Chr, 1},       Field{"colors6", 404, T::Chr, 1},
    Field{"colors7", 405, T::Chr, 1},       Field{"extra1", 406, T::Str, 12},
    Field{"extra2", 418, T::Str, 12},       Field{"extra3", 430, T::Str, 12},
    Field{"extra4", 442, T::Str, 12},       Field{"extra5", 454, T::Str, 12},
    Field{"extra6", 466, T::Str, 12},       Field{"extra7", 478, T::Str, 12},
    Field{"extra8", 490, T::Str, 12},       Field{"reserved502", 502, T::Str, 160},
    Field{"reserved662", 662, T::Str, 160}, Field{"uploads", 822, T::I32, 4},
    Field{"uploadkb", 826, T::I32, 4},      Field{"downloads", 830, T::I32, 4},
    Field{"downloadkb", 834, T::I32, 4},    Field{"totalposts", 838, T::I32, 4},
    Field{"totalemails", 842, T::I32, 4},   Field{"reserved846", 846, T::I32, 4},
    Field{"reserved850", 850, T::I16, 2},   Field{"credits", 852, T::I32, 4},
    Field{"reserved856", 856, T::Str, 16},  Field{"reserved872", 872, T::Str, 1},
    Field{"reserved873", 873, T::Str, 3},   Field{"reserved876", 876, T::Str, 4},
    Field{"reserved880", 880, T::Str, 22},  Field{"reserved902", 902, T::Str, 6},
    Field{"reserved908", 908, T::Str, 6},   Field{"reserved914", 914, T::I32, 4},
    Field{"reserved918", 918, T::I16, 2},   Field{"reserved920", 920, T::Str, 128},
};
static_assert(fieldsAreContiguous(kUser, 1048));

constexpr std::array kUserIndex{
    Field{"realname", 0, T::Str, 40},
    Field{"handle", 40, T::Str, 40},
    Field{"usernumber", 80, T::I16, 2},
};
static_assert(fieldsAreContiguous(kUserIndex, 82));

// Only the addressing, the three waiting-mail tests and the text's place in the .BIN store
// are read here; the rest is the node programs' business.
constexpr std::array kMail{
    Field{"fromuser", 0, T::I32, 4},       Field{"touser", 4, T::I32, 4},
    Field{"reserved8", 8, T::Str, 40},     Field{"reserved48", 48, T::Str, 40},
    Field{"reserved88", 88, T::Str, 80},   Field{"reserved168", 168, T::Str, 80},
    Field{"reserved248", 248, T::I16, 2},  Field{"mailstate", 250, T::I16, 2},
    Field{"reserved252", 252, T::I32, 4},  Field{"reserved256", 256, T::I32, 4},
    Field{"reserved260", 260, T::I32, 4},  Field{"reserved264", 264, T::I32, 4},
    Field{"reserved268", 268, T::Str, 64}, Field{"mailread", 332, T::I16, 2},
    Field{"reserved334", 334, T::Str, 40}, Field{"mailflag", 374, T::I32, 4},
    Field{"reserved378", 378, T::I32, 4},  Field{"reserved382", 382, T::Str, 12},
    Field{"reserved394", 394, T::Str, 64}, Field{"reserved458", 458, T::I32, 4},
    Field{"reserved462", 462, T::I32, 4},  Field{"reserved466", 466, T::I32, 4},
    Field{"reserved470", 470, T::Str, 8},  Field{"textoffset", 478, T::I32, 4},
    Field{"textlength", 482, T::I32, 4},   Field{"reserved486", 486, T::I16, 2},
    Field{"reserved488", 488, T::I16, 2},  Field{"reserved490", 490, T::I32, 4},
    Field{"reserved494", 494, T::Str, 24}, Field{"reserved518", 518, T::Str, 64},
};
static_assert(fieldsAreContiguous(kMail, 582));

// Where each user stands in a mail base; only ever set back to 0 here.
constexpr std::array kMailScan{
    Field{"lastread", 0, T::I32, 4},
};

} // namespace

const RecordLayout& userLayout() {
    static const RecordLayout layout{"USERFILE.DAT", 1048, kUser, "dat"};
    return layout;
}

const RecordLayout& userIndexLayout() {
    static const RecordLayout layout{"USERFILE.IDX", 82, kUserIndex, "dat"};
    return layout;
}

const RecordLayout& mailLayout() {
    static const RecordLayout layout{"EMAIL.DAT", 582, kMail, "db"};
    return layout;
}

const RecordLayout& mailScanLayout() {
    static const RecordLayout layout{"EMAIL.QSC", 4, kMailScan, "db"};
    return layout;
}
