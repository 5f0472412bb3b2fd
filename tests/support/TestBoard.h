#pragma once

#include "console/BoardLogs.h"
#include "console/DebugPane.h"
#include "data/Board.h"
#include "support/ManualClock.h"
#include "support/ScriptedDialogs.h"

#include <QTemporaryDir>

#include <memory>

// A demo board in a temporary folder, with a board context whose clock, dialogs and pane the
// test controls. The current directory is the board's main directory while it lives, and is
// put back afterwards.
class TestBoard {
  public:
    explicit TestBoard(int port = 2323);
    ~TestBoard();

    QString mainDir() const { return mainDir_; }
    QString file(const QString& name) const { return mainDir_ + QLatin1Char('/') + name; }
    QByteArray read(const QString& name) const;
    void write(const QString& name, const QByteArray& bytes) const;
    // A symbolic link at `name`, as any member of the board's group could plant one, to a file
    // outside the board that holds "outside"; returns that file's path.
    QString plantLink(const QString& name) const;
    // Whether what was written at `name` since replaced the link planted there to `outside`
    // instead of writing through it.
    bool linkReplaced(const QString& name, const QString& outside) const;

    // Loads the board's settings as the server does at start; they must load.
    void loadSettings();
    // Reads a record file of the board (record 1) with the given layout.
    Record record(const RecordLayout& layout, const QString& name) const;
    void writeRecord(const QString& name, const Record& record) const;
    // Changes one i16 field of KELDTS.CFG on disk.
    void setServerFlag(std::string_view field, qint16 value) const;
    // The newest KELDTS.LOG entry without its date and time.
    QString lastLogEntry() const;
    // Puts a caller doing `action` on `node` in CONTROL.DAT, on since 12:30.
    void setNodeAction(int node, const QString& action, const QString& handle = {},
                       int user = 0) const;
    // Bytes as a node program may leave them: any value, the same ones for the same seed.
    static QByteArray noise(qsizetype size, quint32 seed = 7);
    // KELDTSIP.DAT records holding `entries`.
    static QByteArray ipRecords(std::initializer_list<const char*> entries);

    ManualClock clock;
    ScriptedDialogs dialogs;
    DebugPane pane;
    BoardLogs logs{pane};
    std::unique_ptr<Board> board;

  private:
    QString previousDir_;
    QTemporaryDir dir_;
    QTemporaryDir outside_;
    QString mainDir_;
};
