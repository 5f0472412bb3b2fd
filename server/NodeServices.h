#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <unistd.h>

// What admission and the server's life cycle ask of the node table and of node launching.
class NodeServices {
  public:
    virtual ~NodeServices() = default;
    // The lowest free telnet node, 0 when none is free.
    virtual int findFreeNode() = 0;
    // Whether `node` runs; node 0 asks whether any node runs.
    virtual bool isNodeInUse(int node) = 0;
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
    virtual bool writeTcpipCfg(const QString& handle, int node, const QString& ip,
                               const QString& hostName) = 0;
    // Starts the node with the caller's socket, which it takes over; `done` runs on the event
    // loop once the node holds the socket or the start has failed.
    virtual void launchNode(int node, int socketFd, const QString& handle,
                            std::function<void()> done) = 0;
    // The node list's rows, one per node from 1 to `maxchannelno`.
    virtual QStringList nodeRows() = 0;
};

// A board without node hosting: no node is ever free or running, so every caller who passes
// the other checks hears that all nodes are busy.
class NoNodeServices final : public NodeServices {
  public:
    int findFreeNode() override { return 0; }
    bool isNodeInUse(int) override { return false; }
    void refreshNodeList() override {}
    void watchNodes() override {}
    void deleteAllNodeFiles() override {}
    void deleteNodeFiles(int) override {}
    void resetNodeRecord(int) override {}
    qint64 nodeProcessId(int) override { return 0; }
    bool killProcessTree(qint64) override { return false; }
    void configureNodeChannel(int) override {}
    void makeNodeDirectory(int) override {}
    bool writeTcpipCfg(const QString&, int, const QString&, const QString&) override {
        return true;
    }
    void launchNode(int, int socketFd, const QString&, std::function<void()> done) override {
        ::close(socketFd);
        done();
    }
    QStringList nodeRows() override { return {}; }
};
