#pragma once

#include "platform/Result.h"

#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

#include <sys/types.h>

class QLocalSocket;
class QSocketNotifier;
class QTimer;

// One server per board: an exclusive lock and a control socket in the board's own runtime
// directory, `<board>/.keldts`. They belong to the board, not to a login session, so a server
// started by systemd and one started from a desktop login find each other, and the board's
// group can reach the socket with `keldts ctl`. A later start that finds the lock taken sends
// "activate" and leaves.
class SingleInstance : public QObject {
    Q_OBJECT
  public:
    // A command line in, a reply out (one line, or several for a list). `after` runs once the reply
    // has gone out, so that "exit" can answer before the process ends.
    using Handler = std::function<QString(const QString& command, std::function<void()>& after)>;
    enum class Claim { Ours, Taken };

    explicit SingleInstance(const QString& boardDirectory, QObject* parent = nullptr);
    ~SingleInstance() override;

    static QString runtimeDirectory(const QString& board);
    static QString socketPath(const QString& board);
    // Where the node hosts keep the tmux server's socket and the hand-over socket: private to
    // the server's user even when the board's group may use the control socket.
    static QString nodeHostDirectory(const QString& board);

    // Taken when another server holds the board. A failure says why nothing could be decided
    // (a runtime directory someone else could tamper with, a path too long for a socket).
    Result<Claim> acquire();
    // What the sysop should hear once the log is up (the group left out of `ctl`, say).
    const QStringList& notes() const { return notes_; }
    void setHandler(Handler handler) { handler_ = std::move(handler); }

    // Sends one command to the server of `board` and returns its reply. Fails when none runs
    // there or the runtime directory is not one to trust.
    static Result<QString> request(const QString& board, const QString& command,
                                   int timeoutMs = 5000);

  signals:
    // Control connections cannot be taken (no descriptors left), said at most once a second; or
    // the control socket went from its place.
    void trouble(const QString& text);

  private:
    struct Client {
        QLocalSocket* socket;
        pid_t process;
        bool heard; // its command line has come
    };

    // `group` gets the socket too unless it is gid_t(-1).
    Result<> listen(gid_t group);
    void stopListening();
    void acceptAll();
    void admit(int fd);
    void serve(int fd, pid_t process);
    // Closes the client that has said nothing for longest; false when every client has spoken.
    bool dropLongestSilent();
    Client* clientOf(const QLocalSocket* socket);
    // Someone moved or removed the runtime directory, or replaced the socket: `ctl` would find
    // nobody, or someone else. The board is claimed again where `ctl` looks.
    void checkPlace();
    bool socketIsOurs() const;

    QString board_;
    int lockFd_ = -1;
    int listenFd_ = -1;
    dev_t socketDevice_ = 0;
    ino_t socketInode_ = 0;
    std::vector<Client> clients_; // oldest first
    bool placeLost_ = false;
    QSocketNotifier* notifier_ = nullptr;
    QTimer* retry_ = nullptr;
    QTimer* placeCheck_ = nullptr;
    QElapsedTimer lastTrouble_;
    QStringList notes_;
    Handler handler_;
};
