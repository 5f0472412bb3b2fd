#include "data/FormTable.h"

namespace formtable {

const Entry* Table::find(std::string_view field) const {
    for (const Entry& entry : entries) {
        if (entry.field == field)
            return &entry;
    }
    return nullptr;
}

} // namespace formtable
