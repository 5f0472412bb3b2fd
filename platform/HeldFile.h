#pragma once

#include "platform/Result.h"

#include <QByteArray>
#include <QString>

// A board file held open while it is replaced: whatever a node program writes through a
// descriptor it opened earlier lands in this copy, which stays readable here after its name
// leads to the new file.
class HeldFile {
  public:
    // Opens `path` for reading; refuses what is not a regular file, without waiting on one.
    explicit HeldFile(const QString& path);
    ~HeldFile();
    HeldFile(const HeldFile&) = delete;
    HeldFile& operator=(const HeldFile&) = delete;

    // Why the file could not be opened; success when it is open.
    Result<> opening() const;
    Result<qint64> size() const;
    // Everything the file holds, as many bytes as its size says. A file that ends early was cut
    // short while it was read, and what came is not the file.
    Result<QByteArray> readAll() const;
    // Whether the name still leads to the file that was opened.
    bool isStillAtItsPath() const;
    const QString& path() const { return path_; }

  private:
    QString path_;
    Result<int> opened_;
    int fd_;
};
