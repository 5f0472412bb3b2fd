#include "support/TestBoard.h"

#include "data/DemoBoard.h"
#include "data/RecordFile.h"
#include "data/SystemConfig.h"
#include "data/records/BoardFiles.h"
#include "platform/PlatformSettings.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <gtest/gtest.h>

TestBoard::TestBoard(int port) : previousDir_(QDir::currentPath()) {
    const Result<QString> written =
        writeDemoBoard({dir_.path(), port, QStringLiteral("/bin/true")});
    EXPECT_TRUE(written.ok()) << written.error().toStdString();
    mainDir_ = written.ok() ? written.value() : dir_.path();
    QDir::setCurrent(mainDir_);
    board = std::make_unique<Board>(clock, dialogs, logs,
                                    readPlatformSettings(file(QStringLiteral("KELDTS.INI"))));
    logs.attach(board.get());
}

TestBoard::~TestBoard() {
    QDir::setCurrent(previousDir_);
}

void TestBoard::loadSettings() {
    const ConfigLoad loaded = loadSystemConfig(*board);
    EXPECT_FALSE(loaded.fatal) << loaded.text.toStdString();
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

QString TestBoard::plantLink(const QString& name) const {
    const QString target = outside_.filePath(QString(name).replace(QLatin1Char('/'), u'-'));
    QFile f(target);
    EXPECT_TRUE(f.open(QIODevice::WriteOnly) && f.write("outside") == 7);
    EXPECT_TRUE(QDir().mkpath(QFileInfo(file(name)).path()));
    EXPECT_TRUE(QFile::link(target, file(name))) << name.toStdString();
    return target;
}

bool TestBoard::linkReplaced(const QString& name, const QString& outside) const {
    QFile f(outside);
    return f.open(QIODevice::ReadOnly) && f.readAll() == "outside" &&
           !QFileInfo(file(name)).isSymLink() && QFileInfo(file(name)).isFile();
}

Record TestBoard::record(const RecordLayout& layout, const QString& name) const {
    Record r(layout);
    const Result<> read = recordfile::read(file(name), 1, r);
    EXPECT_TRUE(read.ok()) << read.error().toStdString();
    return r;
}

void TestBoard::writeRecord(const QString& name, const Record& record) const {
    const Result<> written = recordfile::write(file(name), 1, record);
    EXPECT_TRUE(written.ok()) << written.error().toStdString();
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
    const Result<> written = recordfile::write(file(QStringLiteral("CONTROL.DAT")), node + 1, r);
    EXPECT_TRUE(written.ok()) << written.error().toStdString();
}

QByteArray TestBoard::noise(qsizetype size, quint32 seed) {
    QRandomGenerator random(seed);
    QByteArray bytes(size, '\0');
    for (char& c : bytes)
        c = static_cast<char>(random.bounded(256));
    return bytes;
}

QByteArray TestBoard::ipRecords(std::initializer_list<const char*> entries) {
    QByteArray bytes;
    for (const char* e : entries)
        bytes += QByteArray(e).leftJustified(15, ' ');
    return bytes;
}
