#pragma once

#include "platform/NodeHost.h"

#include <algorithm>

// A node host whose windows the test opens and closes by hand. It counts how often it is asked
// and keeps every launch request, answering it with `nextStart`.
class FakeNodeHost : public NodeHost {
  public:
    QList<Window> windows() override {
        ++windowQueries;
        return open;
    }
    qint64 findWindow(const QString& title) override {
        ++singleQueries;
        for (const Window& w : open) {
            if (w.title == title)
                return w.handle;
        }
        return 0;
    }
    bool isWindow(qint64 handle) override {
        ++singleQueries;
        return std::any_of(open.begin(), open.end(),
                           [&](const Window& w) { return w.handle == handle; });
    }
    void requestWindows() override { ++requests; }
    void launch(const Launch& request, std::function<void(const Started&)> done) override {
        launches.append(request);
        done(nextStart);
    }
    Result<QString> show(qint64 handle, Show how) override {
        shown.append({handle, how});
        return QString();
    }
    Result<> sendKeys(qint64 handle, const QList<KeyStroke>& keys) override {
        if (!keysRefused.isEmpty())
            return Failure{keysRefused};
        typed.append({handle, keys});
        return {};
    }
    void add(const QString& title, qint64 handle, qint64 pid = 0) {
        open.append({handle, title, pid});
    }

    QList<Window> open;
    QList<Launch> launches;
    QList<std::pair<qint64, QList<KeyStroke>>> typed;
    QList<std::pair<qint64, Show>> shown;
    QString keysRefused; // why sendKeys fails; empty: it succeeds
    Started nextStart{0, 0, QStringLiteral("no start prepared")};
    int requests = 0; // fresh looks asked for
    int windowQueries = 0;
    int singleQueries = 0;
};
