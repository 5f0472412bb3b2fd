#pragma once

#include "platform/NodeHost.h"

#include <QObject>
#include <QSet>
#include <QString>

// Nodes as bare processes, where tmux is missing. A node's "window" is its process id; its
// title lives in a small file beside the process id, so that a node is found by its title and a
// restarted server finds the nodes it left running. There is no console to show: every Show
// mode gives the same detached process, with its output in a log file beside the title.
class ProcessNodeHost : public QObject, public NodeHost {
    Q_OBJECT
  public:
    // Title and log files go to `<runtimeDirectory>/nodes-<hash of mainDirectory>`.
    ProcessNodeHost(const QString& runtimeDirectory, const QString& mainDirectory,
                    QObject* parent = nullptr);

    QString stateDirectory() const { return directory_; }

    QList<Window> windows() override;
    qint64 findWindow(const QString& title) override;
    bool isWindow(qint64 handle) override;
    void launch(const Launch& request, std::function<void(const Started&)> done) override;
    Result<QString> show(qint64, Show) override {
        return Failure{QStringLiteral("a node started as a plain process has no window to show")};
    }
    Result<> sendKeys(qint64, const QList<KeyStroke>&) override {
        return Failure{
            QStringLiteral("a node started as a plain process has no console that can take keys")};
    }

  private:
    bool alive(qint64 pid, const QByteArray& startTime);
    QString titleFile(qint64 pid) const;

    QString directory_;
    QSet<qint64> children_; // started by us, so ours to reap
};
