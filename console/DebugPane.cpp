#include "console/DebugPane.h"

void DebugPane::append(const QString& line) {
    lines_.push_back(line);
    while (lines_.size() > static_cast<size_t>(maxLines_))
        lines_.pop_front();
    emit lineAppended(line);
}

void DebugPane::clear() {
    lines_.clear();
    emit cleared();
}

QStringList DebugPane::lines() const {
    return QStringList(lines_.begin(), lines_.end());
}
