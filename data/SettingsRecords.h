#pragma once

#include "data/RecordLayout.h"

#include <span>

// The five one-record files the server reads before it answers a caller.
const RecordLayout& sysPathsLayout();     // SYSPATHS.CFG
const RecordLayout& mainConfigLayout();   // MAIN.CFG, shared with the node programs
const RecordLayout& serverConfigLayout(); // KELDTS.CFG
const RecordLayout& windowStateLayout();  // KELDTS.DAT
const RecordLayout& serverDataLayout();   // KTSDATA.DAT, shared with the node programs

// What a KELDTS.CFG field becomes when the file is new, and from which file length an older,
// shorter file is trusted to hold it.
struct ServerConfigDefault {
    std::string_view name;
    int threshold;
    int number;            // for i16 and i32 fields
    std::string_view text; // for text fields; "today" is filled in at load
};
std::span<const ServerConfigDefault> serverConfigDefaults();

// The directory fields of SYSPATHS.CFG that address files ("reservedpath" is only carried).
std::span<const std::string_view> sysPathDirectoryFields();
