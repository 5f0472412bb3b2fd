#pragma once

#include "data/Progress.h"
#include "data/RecordLayout.h"
#include "platform/Result.h"

#include <QList>
#include <QString>

class Board;

// The board's users: a user's number is his record number in USERFILE.DAT and never changes,
// because mail, votes and the per-user files are all keyed by it. Removing a user leaves a hole
// and clears everything that carried his number; only a hole at the end of the file may go.
namespace useraccounts {

// Inserts stop at this many users.
inline constexpr int kMostUsers = 32760;
// What the name index holds for a deleted user's handle.
inline constexpr char kDeletedHandle[] = "!-*<DELETED>*-!";

// A user as the node programs' new-user code leaves him, before anyone has filled him in.
Record newUser();
// A number the user list marks "(AVAILABLE)": at level 0.
bool isAvailable(const Record& user);
// A number at the end that compress may give back: at level 0 or below.
bool isCompressible(const Record& user);

// What the user list shows of a user after his number: handle, security level and last call.
QString rowColumns(const Record& user);

// Writes user `number` of USERFILE.DAT and his entry of USERFILE.IDX, with `realName` and
// `handle`, in place: both or neither.
Result<> putUser(const Board& board, int number, const Record& user, const QByteArray& realName,
                 const QByteArray& handle);
// Writes USERFILE.IDX anew from USERFILE.DAT, one entry per record.
Result<> rebuildIndex(const Board& board, const PassProgress& progress = {});

// Takes back everything that carries the number `user`: his mail in and out, his one-liners,
// his lines of HANDLES.UIP, his votes, and his own files.
Result<> purgeUserFiles(const Board& board, int user, const PassProgress& progress = {});
// Drops the messages of `base` (EMAIL, SNTEMAIL, ONELINE) to `user`, or from him when
// `bySender`, with their texts, and moves every other message's text to where it now lies. The
// records and their texts are replaced together; mail a node adds meanwhile is kept, and a purge
// that nodes keep overtaking fails rather than lose it.
Result<> purgeUserMail(const Board& board, int user, const QString& base, bool bySender,
                       const PassProgress& progress = {});
// Drops the lines of HANDLES.UIP whose second field is `user`.
Result<> filterHandles(const Board& board, int user);

// Drops the free numbers at the end of USERFILE.DAT and USERFILE.IDX; nothing else moves. The
// files are cut short where they are, never replaced, as node programs hold them open. Gives the
// count left.
Result<int> compress(const Board& board, const PassProgress& progress = {});

// The users whose handle or real name holds `text`, case-blind, as numbers.
QList<int> find(const QList<Record>& users, const QString& text);

} // namespace useraccounts
