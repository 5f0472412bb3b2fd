#pragma once

#include "console/BoardLogs.h"
#include "data/Board.h"
#include "server/NodeServices.h"
#include "server/NodeTable.h"
#include "server/WindowSnapshot.h"

// The board's nodes: the node table over the node host, launching, and the watchdog round.
class BoardNodes final : public NodeServices {
  public:
    BoardNodes(Board& board, BoardLogs& logs, NodeHost& host);

    NodeTable& table() { return table_; }

    int findFreeNode() override { return table_.findFreeNode(); }
    bool isNodeInUse(int node) override { return table_.isNodeInUse(node); }
    std::pair<int, int> telnetNodes() override { return table_.telnetNodes(); }
    bool isNodeStarted(int node) override;
    void refreshNodeList() override { table_.refreshNodeList(); }
    void watchNodes() override;
    void deleteAllNodeFiles() override { table_.deleteAllNodeFiles(); }
    void deleteNodeFiles(int node) override { table_.deleteNodeFiles(node); }
    void resetNodeRecord(int node) override { table_.resetNodeRecord(node); }
    qint64 nodeProcessId(int node) override { return table_.getNodeProcessId(node); }
    bool killProcessTree(qint64 pid) override;
    void configureNodeChannel(int node) override {
        logs_.reported(table_.configureNodeChannel(node));
    }
    void makeNodeDirectory(int node) override { logs_.reported(table_.makeNodeDirectory(node)); }
    Result<> writeTcpipCfg(const QString& handle, int node, const QString& ip,
                           const QString& hostName) override;
    void launchNode(int node, int socketFd, const QString& handle,
                    std::function<void(bool started)> done) override;
    QStringList nodeRows() override { return table_.rows(); }
    bool hostStalled() override { return windows_.stalled(); }

  private:
    // The command that starts node `node`, or why there is none.
    Result<QStringList> nodeCommand(int node, const QString& handle);

    Board& board_;
    BoardLogs& logs_;
    WindowSnapshot windows_;
    NodeTable table_;
};
