#include "server/Server.h"
#include "support/FakeFace.h"
#include "support/FakeNodes.h"
#include "support/ServerTimers.h"
#include "support/TestBoard.h"

#include <QElapsedTimer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <gtest/gtest.h>

namespace {

// The listing service on this machine: it answers each request with `status` and `body`, or
// never when `silent`.
class FakeService : public QTcpServer {
  public:
    FakeService() {
        listen(QHostAddress::LocalHost);
        connect(this, &QTcpServer::newConnection, this, [this] {
            QTcpSocket* socket = nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                const QByteArray request = socket->peek(4096);
                if (!request.contains("\r\n\r\n") || silent)
                    return;
                requests << request.left(request.indexOf("\r\n"));
                socket->write("HTTP/1.1 " + status +
                              "\r\nContent-Length: " + QByteArray::number(body.size()) +
                              "\r\nConnection: close\r\n\r\n" + body);
                socket->disconnectFromHost();
            });
        });
    }
    QString address() const { return QStringLiteral("http://127.0.0.1:%1").arg(serverPort()); }

    QByteArray status = "200 OK";
    QByteArray body;
    bool silent = false;
    QList<QByteArray> requests;
};

class BbsFinderTest : public ::testing::Test {
  protected:
    // Switched on with no password, it is disabled from the start.
    void SetUp() override {
        t.setServerFlag("bbsfindenable", 1);
        ASSERT_TRUE(server.load(QString(), t.mainDir()));
        ASSERT_EQ(finder().caption(), "BBSfinder: Disabled");
        ASSERT_FALSE(finder().pending());
        t.board->platform.bbsFinder = service.address();
        t.board->serverConfig.setI16("bbsfindenable", 1);
        t.board->serverConfig.setText("bbsfindusername", QStringLiteral(" sysop "));
        t.board->serverConfig.setText("bbsfindpassword", QStringLiteral("s3cret"));
    }
    BbsFinder& finder() { return server.bbsFinder(); }
    // Asks the service and waits for its answer.
    QString ask() {
        finder().update();
        EXPECT_TRUE(QTest::qWaitFor([this] { return !finder().pending(); }, 10000));
        return finder().caption();
    }

    TestBoard t{0};
    FakeNodes nodes;
    FakeFace face;
    Server server{*t.board, t.logs, t.pane, nodes, face};
    FakeService service;
};

TEST_F(BbsFinderTest, EachAnswerOfTheServiceHasItsCaption) {
    const QString done = QStringLiteral("\r\n            (12:00:00)");
    const struct {
        QByteArray status, body;
        QString caption;
    } cases[] = {
        {"200 OK", "0", "BBSfinder: Successful Update" + done},
        {"200 OK", "0 \r\n", "BBSfinder: Successful Update" + done},
        {"200 OK", "1", "BBSfinder: Invalid Username\r\n            or Password"},
        {"200 OK", "2", "BBSfinder: Unknown Response" + done},
        {"500 Internal Server Error", "0", "BBSfinder: No Response" + done},
    };
    for (const auto& c : cases) {
        service.status = c.status;
        service.body = c.body;
        EXPECT_EQ(ask(), c.caption) << c.body.toStdString();
    }
    EXPECT_EQ(service.requests.first(), "GET /update.asp?un=sysop&pw=s3cret HTTP/1.1");
    std::function<void()> after;
    EXPECT_TRUE(server.control(QStringLiteral("status --json"), after)
                    .contains(R"("bbsFinder":"BBSfinder: No Response\r\n)"));
}

TEST_F(BbsFinderTest, NoAnswerInTimeIsNoResponseWhileTheConsoleGoesOn) {
    passFirstSecond(server);
    service.silent = true;
    finder().setTimeout(std::chrono::milliseconds(1500));
    QElapsedTimer waited;
    waited.start();
    finder().update();
    EXPECT_EQ(finder().caption(), "BBSfinder: Updating...");
    // A caller gets the server's greeting while the service keeps silent.
    QTcpSocket caller;
    caller.connectToHost(QHostAddress::LocalHost, server.listeningPort());
    ASSERT_TRUE(QTest::qWaitFor([&] { return caller.bytesAvailable() > 0; }, 1400));
    EXPECT_TRUE(finder().pending());
    finder().update();
    ASSERT_TRUE(QTest::qWaitFor([this] { return !finder().pending(); }, 5000));
    EXPECT_GE(waited.elapsed(), 1400);
    EXPECT_EQ(finder().caption(), "BBSfinder: No Response\r\n            (12:00:00)");
    EXPECT_EQ(service.findChildren<QTcpSocket*>().size(), 1) << "one request at a time";
}

TEST_F(BbsFinderTest, AsksEveryFiveMinutesAndNeverWithAnIncompleteAccount) {
    service.body = "0";
    EXPECT_TRUE(ask().startsWith("BBSfinder: Successful Update"));
    for (int minute = 1; minute < 5; ++minute)
        finder().minuteTick();
    EXPECT_FALSE(finder().pending());
    finder().minuteTick();
    EXPECT_TRUE(finder().pending());
    ASSERT_TRUE(QTest::qWaitFor([this] { return !finder().pending(); }, 10000));

    // Switched on with no password, the caption keeps what it said at each minute's call.
    t.board->serverConfig.setText("bbsfindpassword", QStringLiteral("   "));
    for (int minute = 1; minute <= 6; ++minute)
        finder().minuteTick();
    EXPECT_TRUE(finder().caption().startsWith("BBSfinder: Successful Update"));
    EXPECT_EQ(service.requests.size(), 2);
}

} // namespace
