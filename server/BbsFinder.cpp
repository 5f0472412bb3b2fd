#include "server/BbsFinder.h"

#include "data/Board.h"
#include "server/ConsoleFace.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>

namespace {
constexpr int kEveryMinutes = 5;
} // namespace

BbsFinder::BbsFinder(Board& board, ConsoleFace& face, QObject* parent)
    : QObject(parent), board_(board), face_(face) {
    timeout_.setSingleShot(true);
    timeout_.setInterval(std::chrono::seconds(10));
    // An abort finishes the reply, which then counts as no answer.
    connect(&timeout_, &QTimer::timeout, this, [this] {
        if (reply_)
            reply_->abort();
    });
}

void BbsFinder::minuteTick() {
    if (board_.serverConfig.i16("bbsfindenable") != 1)
        return;
    ++minutes_;
    if (minutes_ >= kEveryMinutes)
        update();
}

void BbsFinder::update() {
    // The counter stays up while a request is out, so every minute would ask again.
    if (pending())
        return;
    const QString user = board_.serverConfig.text("bbsfindusername").trimmed();
    const QString password = board_.serverConfig.text("bbsfindpassword").trimmed();
    if (user.isEmpty() || password.isEmpty() || board_.serverConfig.i16("bbsfindenable") != 1) {
        // Switched on with an incomplete account, the minute timer comes here every minute and
        // the caption keeps what it said.
        if (minutes_ < kEveryMinutes) {
            setCaption(QStringLiteral("BBSfinder: Disabled"));
            minutes_ = kEveryMinutes - 1;
        } else {
            minutes_ = kEveryMinutes;
        }
        return;
    }
    // The service reads the account as it is typed: nothing is escaped.
    const QUrl address(board_.platform.bbsFinder + QStringLiteral("/update.asp?un=") + user +
                       QStringLiteral("&pw=") + password);
    setCaption(QStringLiteral("BBSfinder: Updating..."));
    if (!network_)
        network_ = new QNetworkAccessManager(this);
    reply_ = network_->get(QNetworkRequest(address));
    connect(reply_, &QNetworkReply::finished, this, &BbsFinder::finished);
    timeout_.start();
}

void BbsFinder::finished() {
    timeout_.stop();
    QNetworkReply* reply = reply_;
    reply_.clear();
    reply->deleteLater();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (reply->error() != QNetworkReply::NoError || status != 200) {
        setCaption(stamped("No Response"));
    } else {
        const QString answer = QString::fromLatin1(reply->readAll()).trimmed();
        if (answer == QLatin1String("0"))
            setCaption(stamped("Successful Update"));
        else if (answer == QLatin1String("1"))
            setCaption(QStringLiteral("BBSfinder: Invalid Username\r\n            or Password"));
        else
            setCaption(stamped("Unknown Response"));
    }
    minutes_ = 0;
}

QString BbsFinder::stamped(const char* outcome) const {
    return QStringLiteral("BBSfinder: %1\r\n            (%2)")
        .arg(QLatin1String(outcome), board_.clock.now().toString(QStringLiteral("HH:mm:ss")));
}

void BbsFinder::setCaption(const QString& caption) {
    caption_ = caption;
    face_.setBbsFinderCaption(caption);
}
