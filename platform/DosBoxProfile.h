#pragma once

#include "platform/DosPath.h"

#include <QByteArray>
#include <QStringList>

// The built-in DOS runner ([Dos] run=dosbox): DOSBox with a configuration of its own for each
// run, which mounts every drive of the map on its directory, makes the program's drive and
// directory current, runs the program (a batch through CALL) and ends the emulator.
namespace dosbox {

// The configuration that runs `dosPath` with `arguments`.
QByteArray configuration(const DriveMap& drives, const QString& dosPath,
                         const QStringList& arguments);
// DOSBox on the configuration at `configPath`: in a window where there is a display, without
// one otherwise.
QStringList command(const QString& configPath);

} // namespace dosbox
