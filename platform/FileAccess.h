#pragma once

#include "platform/Result.h"

#include <QByteArray>
#include <QString>

// Opening board files without ever hanging on one. A FIFO or a device in place of a board
// file would block an open or a read for ever; they are refused with a message instead.
namespace fileaccess {

// Opens `path` with `flags` (O_RDONLY, O_WRONLY | O_CREAT, ...; close-on-exec is added), as a
// regular file only. The descriptor is the caller's to close.
Result<int> openRegular(const QString& path, int flags, mode_t mode = 0666);

// At most `limit` bytes from the start of a small text file such as KELDTS.INI or NETONLY.TXT.
Result<QByteArray> readSmall(const QString& path, qint64 limit = 1024 * 1024);

// Puts a small file the server makes for one node or one batch (DOOR32.SYS, TCPIP.CFG, a
// generated batch) at `path`, in place of whatever stood there: it is written beside under a
// name no one can guess and renamed over `path`, so a link that a member of the board's group
// planted there is replaced, never written through. Quick, with no promise to survive a crash,
// which a file that lives for one hand-over does not need.
Result<> writeSmall(const QString& path, const QByteArray& bytes);

} // namespace fileaccess
