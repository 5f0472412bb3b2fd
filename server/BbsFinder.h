#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>

#include <chrono>

class Board;
class ConsoleFace;
class QNetworkAccessManager;
class QNetworkReply;

// Keeps the board's entry in the BBSfinder listing current: every five minutes, while it is
// switched on, one request that carries the account, whose answer only ever shows in the main
// form's caption. The request runs in the background; whatever it takes, the console goes on.
class BbsFinder : public QObject {
    Q_OBJECT
  public:
    BbsFinder(Board& board, ConsoleFace& face, QObject* parent = nullptr);

    // Asks the service now, when the account is complete and the service switched on; says
    // "Disabled" otherwise. A request that has not come back yet is left to finish.
    void update();
    // The one-minute count towards the next request.
    void minuteTick();
    bool pending() const { return !reply_.isNull(); }
    const QString& caption() const { return caption_; }
    // How long an answer may take; tests wait less than the service is given.
    void setTimeout(std::chrono::milliseconds timeout) { timeout_.setInterval(timeout); }

  private:
    void finished();
    void setCaption(const QString& caption);
    // The caption's second line, which tells when the answer came.
    QString stamped(const char* outcome) const;

    Board& board_;
    ConsoleFace& face_;
    QNetworkAccessManager* network_ = nullptr;
    QPointer<QNetworkReply> reply_;
    QTimer timeout_;
    quint16 minutes_ = 0;
    QString caption_ = QStringLiteral("BBSfinder:");
};
