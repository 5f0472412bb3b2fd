#include "support/TestBoard.h"

#include "data/DemoBoard.h"
#include "data/RecordFile.h"
#include "data/records/BoardFiles.h"
#include "platform/PlatformSettings.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

TestBoard::TestBoard(int port) : previousDir_(QDir::currentPath()) {
    QString error;
    mainDir_ = writeDemoBoard({dir_.path(), port, QStringLiteral("/bin/true")}, &error);
    EXPECT_FALSE(mainDir_.isEmpty()) << error.toStdString();
    QDir::setCurrent(mainDir_);
    board = std::make_unique<Board>(clock, dialogs, logs,
                                    readPlatformSettings(file(QStringLiteral("KELDTS.INI"))));
    logs.attach(board.get());
}

TestBoard::~TestBoard() {
    QDir::setCurrent(previousDir_);
}

QByteArray TestBoard::read(const QString& name) const {
    QFile f(file(name));
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void TestBoard::write(const QString& name, const QByteArray& bytes) const {
    QFile f(file(name));
    EXPECT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(bytes);
}

Record TestBoard::record(const RecordLayout& layout, const QString& name) const {
    Record r(layout);
    QString error;
    EXPECT_TRUE(recordfile::read(file(name), 1, r, &error)) << error.toStdString();
    return r;
}

void TestBoard::writeRecord(const QString& name, const Record& record) const {
    QString error;
    EXPECT_TRUE(recordfile::write(file(name), 1, record, &error)) << error.toStdString();
}

void TestBoard::setServerFlag(std::string_view field, qint16 value) const {
    Record cfg = record(serverConfigLayout(), QStringLiteral("KELDTS.CFG"));
    cfg.setI16(field, value);
    writeRecord(QStringLiteral("KELDTS.CFG"), cfg);
}

QString TestBoard::lastLogEntry() const {
    return QString::fromLatin1(read(QStringLiteral("KELDTS.LOG")).trimmed())
        .section(QStringLiteral("\r\n"), -1)
        .mid(25);
}

void TestBoard::setNodeAction(int node, const QString& action, const QString& handle,
                              int user) const {
    Record r(controlLayout());
    r.setText("action", action);
    r.setText("handle", handle);
    r.setI32("usernumber", user);
    r.setText("timeon", QStringLiteral("12:30"));
    QString error;
    EXPECT_TRUE(recordfile::write(file(QStringLiteral("CONTROL.DAT")), node + 1, r, &error))
        << error.toStdString();
}

QByteArray TestBoard::ipRecords(std::initializer_list<const char*> entries) {
    QByteArray bytes;
    for (const char* e : entries)
        bytes += QByteArray(e).leftJustified(15, ' ');
    return bytes;
}
