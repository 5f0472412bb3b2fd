#pragma once

#include "server/NodeServices.h"

#include <set>

#include <sys/socket.h>
#include <unistd.h>

// A node table that hands out node 1 and notes what is done to it, in order.
class FakeNodes final : public NodeServices {
  public:
    int findFreeNode() override { return 1; }
    bool isNodeInUse(int node) override {
        return node == 0 ? !running.empty() : running.count(node) > 0;
    }
    void refreshNodeList() override {}
    void watchNodes() override {}
    void deleteAllNodeFiles() override { calls << QStringLiteral("delete all"); }
    void deleteNodeFiles(int node) override { calls << QStringLiteral("delete %1").arg(node); }
    void resetNodeRecord(int node) override { calls << QStringLiteral("reset %1").arg(node); }
    qint64 nodeProcessId(int node) override { return 1000 + node; }
    bool killProcessTree(qint64 pid) override {
        return !unkillable.count(int(pid - 1000)) && running.erase(int(pid - 1000)) > 0;
    }
    void configureNodeChannel(int node) override { calls << QStringLiteral("config %1").arg(node); }
    void makeNodeDirectory(int node) override { calls << QStringLiteral("mkdir %1").arg(node); }
    Result<> writeTcpipCfg(const QString& handle, int node, const QString& ip,
                           const QString& host) override {
        calls << QStringLiteral("tcpip %1 %2 %3 %4").arg(handle).arg(node).arg(ip, host);
        return {};
    }
    void launchNode(int node, int fd, const QString& handle,
                    std::function<void(bool started)> done) override {
        calls << QStringLiteral("launch %1").arg(node);
        socklen_t length = sizeof keepAlive;
        ::getsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &keepAlive, &length);
        launchedHandle = handle;
        ::close(fd);
        done(startsNodes);
    }
    QStringList nodeRows() override { return {}; }
    std::pair<int, int> telnetNodes() override { return {1, 2}; }
    bool isNodeStarted(int node) override { return running.count(node) > 0; }

    std::set<int> running, unkillable;
    QStringList calls;
    QString launchedHandle;
    bool startsNodes = true; // false: every launch fails as a node host that cannot start one
    int keepAlive = -1;
};
