#pragma once

#include "platform/DosPath.h"

#include <QString>
#include <QStringList>

// KELDTS.INI, in the directory the server starts in: what this platform needs to know that the
// DOS board files cannot say.
struct PlatformSettings {
    DriveMap drives;
    QString dosRun;                            // [Dos] run=: template that runs a DOS batch
    QString nodeHost = QStringLiteral("tmux"); // [Nodes] host=: tmux | process
    QString viewer;          // [Nodes] viewer=: terminal command that shows a node
    QString listenAddress;   // [Server] listen=: the address callers come to; empty: all
    int nodesPerAddress = 0; // [Callers] nodes-per-address=: most nodes one address holds; 0: any
    bool pressEsc = false;   // [Callers] press-esc=yes: Esc twice before a caller gets a node
    // [Orne] directory=: where the mail and news kit keeps ORNE-INET.INI, the directory its
    // Windows programs call theirs; empty: the board's main directory.
    QString orneDirectory;
    // [Services] bbsfinder=: where the listing service that keeps the board's address answers
    QString bbsFinder = QStringLiteral("https://keldts.example.org/bbsfinder");
    QString updater; // [Services] updater=: the update program, Linux or DOS; empty: none
    // [Services] contact=: where the about box sends suggestions and comments
    QString contact = QStringLiteral("support@keldts.example.org");
    QString sysInfo;      // [Services] sysinfo=: a program that shows this machine; empty: none
    QStringList problems; // lines that could not be understood, for the log
    QString missing;      // that the file is not there, for messages about what it lacks
    QString unreadable;   // why a file that is there could not be read: no server can run
};

// A missing file gives the defaults; a line that makes no sense is noted, never fatal.
PlatformSettings readPlatformSettings(const QString& iniPath);

// The text of a KELDTS.INI that maps drive C to `cDrive`.
QByteArray platformSettingsText(const QString& cDrive);
