#pragma once

#include <QObject>
#include <QString>

#include <functional>

class QLocalServer;

// One server per machine, named "KELDTS": an exclusive lock and a local socket in the runtime
// directory. The socket also carries `keldts ctl` commands; a later start that finds the lock
// taken sends "activate" and leaves.
class SingleInstance : public QObject {
    Q_OBJECT
  public:
    // A command line in, a reply out (one line, or several for a list). `after` runs once the reply
    // has gone out, so that "exit" can answer before the process ends.
    using Handler = std::function<QString(const QString& command, std::function<void()>& after)>;

    explicit SingleInstance(QObject* parent = nullptr);
    ~SingleInstance() override;

    // $XDG_RUNTIME_DIR/keldts, or /tmp/keldts-<uid> where the session has no runtime directory.
    static QString runtimeDirectory();
    static QString socketPath();

    // True when this process is now the one instance. False when another holds it; `error`
    // then stays empty. Any other failure fills `error`.
    bool acquire(QString* error);
    void setHandler(Handler handler) { handler_ = std::move(handler); }

    // Sends one command to the running instance and returns its reply; false when none runs.
    static bool request(const QString& command, QString* reply, int timeoutMs = 5000);

  private:
    void serve();

    int lockFd_ = -1;
    QLocalServer* server_ = nullptr;
    Handler handler_;
};
