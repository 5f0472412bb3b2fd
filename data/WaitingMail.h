#pragma once

#include "data/RecordLayout.h"
#include "platform/Result.h"

#include <QString>
#include <QtEndian>

#include <functional>

class Board;

// A number field of EMAIL.DAT's layout, looked up once and then read straight from a record's
// bytes: a mail base holds tens of thousands of records, and a look-up by name for each of
// them would hold up the event loop.
template <typename T> class MailField {
  public:
    explicit MailField(std::string_view name);
    T of(const char* record) const { return qFromLittleEndian<T>(record + offset_); }

  private:
    int offset_;
};

// Files in the layout of EMAIL.DAT are read in large blocks and walked record by record until
// `visit` says stop. A partial record at the end is a node program's write in progress
// and is left out. A file not there yet holds no records; one that is no file, or cannot be
// read, is a failure that names it.
Result<> forEachMailRecord(const QString& path,
                           const std::function<bool(const char* record)>& visit);

// Mail that waits for `user`: addressed to him, delivered and not yet read.
Result<int> countWaitingMail(const Board& board, int user);
