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
    QString viewer;       // [Nodes] viewer=: terminal command that shows a node
    QStringList problems; // lines that could not be understood, for the log
};

// A missing file gives the defaults; a line that makes no sense is noted, never fatal.
PlatformSettings readPlatformSettings(const QString& iniPath);

// The text of a KELDTS.INI that maps drive C to `cDrive`.
QByteArray platformSettingsText(const QString& cDrive);
