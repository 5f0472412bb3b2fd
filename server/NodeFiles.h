#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>

class Board;

// The files the server writes for a node as it starts it, as the DOS node programs read them.
namespace nodefiles {

// The lines, each ended by CR LF, in the DOS code page.
QByteArray crlfLines(const QStringList& lines);

// The first lines of every batch the server writes: echo off, who wrote it and when, and the
// main directory's drive and directory made current.
QStringList batchHead(const QString& mainDirectory, const QDateTime& now);

// The lines that make the main directory's drive and directory current again, before a batch
// deletes itself.
QStringList backToMain(const QString& mainDirectory);

// "This file created by KELDTS v<version> @ hh:nn:ss on mm/dd/yyyy".
QString createdBy(const QDateTime& now);

struct TcpipInfo {
    QString handle;
    QString address;
    QString hostName;
    qint64 uptimeSeconds = 0;
};
// <temp>\N<node>\TCPIP.CFG.
QByteArray tcpipCfg(const TcpipInfo& info, const QDateTime& now);
// The caller's address that node `node`'s TCPIP.CFG names; empty when it names none.
QString callerAddress(const Board& board, int node);

struct BatchInfo {
    QString mainDirectory; // the DOS path of the main directory, trimmed
    int node = 0;
    QString handle;
    int netfossSleep = 0;
    int netfossBuffer = 0;
    int netfossDelay = 0;
    int logoffBat = 0;
};
// <main>\KTSN<node>.BAT: starts the BBS under the FOSSIL redirector and deletes itself.
QByteArray nodeBatch(const BatchInfo& info, const QDateTime& now);

} // namespace nodefiles
