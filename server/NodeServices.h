#pragma once

#include "platform/Result.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <utility>

// What admission and the server's life cycle ask of the node table and of node launching.
class NodeServices {
  public:
    virtual ~NodeServices() = default;
    // The lowest free telnet node, 0 when none is free.
    virtual int findFreeNode() = 0;
    // Whether `node` runs; node 0 asks whether any node runs.
    virtual bool isNodeInUse(int node) = 0;
    // The first and last node of the telnet range.
    virtual std::pair<int, int> telnetNodes() = 0;
    // Whether node `node` has been started: its state file is there.
    virtual bool isNodeStarted(int node) = 0;
    virtual void refreshNodeList() = 0;
    // One round of the watchdog over the node windows.
    virtual void watchNodes() = 0;
    virtual void deleteAllNodeFiles() = 0;
    virtual void deleteNodeFiles(int node) = 0;
    virtual void resetNodeRecord(int node) = 0;
    virtual qint64 nodeProcessId(int node) = 0;
    virtual bool killProcessTree(qint64 pid) = 0;
    virtual void configureNodeChannel(int node) = 0;
    virtual void makeNodeDirectory(int node) = 0;
    // A failure has been reported by the time it returns.
    virtual Result<> writeTcpipCfg(const QString& handle, int node, const QString& ip,
                                   const QString& hostName) = 0;
    // Starts the node with the caller's socket, which it takes over; `done` runs on the event
    // loop once the node holds the socket (true) or the start has failed (false).
    virtual void launchNode(int node, int socketFd, const QString& handle,
                            std::function<void(bool started)> done) = 0;
    // Whether the node host is overdue with an answer, so that no node can start now.
    virtual bool hostStalled() { return false; }
    // The node list's rows, one per node from 1 to `maxchannelno`.
    virtual QStringList nodeRows() = 0;
};
