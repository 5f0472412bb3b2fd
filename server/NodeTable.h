#pragma once

#include "data/Board.h"
#include "data/RecordLayout.h"
#include "platform/Result.h"

#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QStringList>

class NodeHost;

// What the server and the node programs know of each other's work: CONTROL.DAT, which the
// nodes keep up to date and the server reads and resets; the state file KELDTS.<node> in the
// temp directory, which only the server writes; and the node's console window by its title.
// Also keeps the text of the node list, one row per node from 1 to `maxchannelno`.
class NodeTable : public QObject {
    Q_OBJECT

  public:
    NodeTable(Board& board, NodeHost& host, LogSinks& logs, QObject* parent = nullptr);

    // The lowest telnet node with neither a window nor a state file; 0 when all are taken.
    // CONTROL.DAT plays no part: a node that reports a caller but has neither counts as free.
    int findFreeNode();
    // The node's window, 0 if none. Without a window the handle in the state file is returned,
    // which may be stale. A window with no state file is adopted: the state file is written.
    qint64 getNodeWindow(int node);
    // Line 1 of the state file as a number, 0 when there is none.
    qint64 getNodeProcessId(int node);
    // Node 0 asks about all nodes together.
    bool isNodeInUse(int node);
    // The nodes callers are given: from `startnode`, `maxconnections` of them, at most to 100.
    std::pair<int, int> telnetNodes() const;
    // `maxchannelno`, at most 100.
    int maxChannel() const;

    // Appends idle records to CONTROL.DAT up to `maxchannelno` (creating the file) and brings
    // the rows up to date, announcing only the rows whose text changed.
    void refreshNodeList();
    const QStringList& rows() const { return rows_; }
    // Empties the list, as before a fresh fill.
    void clearRows();

    // Writes the idle record of `node` to CONTROL.DAT.
    void resetNodeRecord(int node);
    // Deletes the state file and TCPIP.CFG of the node where present.
    void deleteNodeFiles(int node);
    // The same for every node of the telnet range that has no window: a running node keeps its
    // files.
    void deleteAllNodeFiles();
    Result<> makeNodeDirectory(int node);
    // Sets the node's channel records to a 115200 bit/s line on FOSSIL device 0.
    Result<> configureNodeChannel(int node);
    // The state file as a launch writes it.
    Result<> writeStateFile(int node, qint64 pid, qint64 processHandle, qint64 windowHandle,
                            qint64 socketHandle);

    static QString windowTitle(int node);
    QString stateFilePath(int node) const;
    QString nodeDirectoryPath(int node) const;
    QString controlPath() const;
    // The idle record of `node`, with the baud rate of its channel.
    Record idleRecord(int node, bool* ok = nullptr) const;
    static QString rowText(int node, int maxChannel, const Record& control);

  signals:
    // The list now holds `count` rows; new rows are announced by rowChanged afterwards.
    void rowsResized(int count);
    void rowChanged(int index, const QString& text);

  private:
    bool deleteFilesOf(int node);
    void setRow(int index, const QString& text);
    // The board's TEMP directory, looked up again every few seconds only: the watchdog asks for
    // every node's state file twice a second, and a case-blind look-up of a name that is not
    // there reads the whole directory.
    QString tempDirectory() const;

    Board& board_;
    NodeHost& host_;
    LogSinks& logs_;
    QStringList rows_;
    QString listProblem_; // why CONTROL.DAT could not be opened for the list, last time
    mutable QString tempDos_;
    mutable QString tempDirectory_;
    mutable QElapsedTimer tempLookedUp_;
};
