#pragma once

#include <QMap>
#include <QString>

// Board files hold DOS paths ("C:\KELD\TEXT") because the DOS node programs read the same
// files. The drive map of KELDTS.INI says where each drive lives on this machine.
class DriveMap {
  public:
    void map(QChar drive, const QString& directory);
    bool isMapped(QChar drive) const;
    QString directoryOf(QChar drive) const;
    bool isEmpty() const { return drives_.isEmpty(); }
    QList<QChar> drives() const { return drives_.keys(); }

  private:
    QMap<QChar, QString> drives_;
};

struct ResolvedPath {
    QString path;        // native path; empty when the drive is not mapped
    QChar unmappedDrive; // the drive letter that has no mapping, or null
    bool ok() const { return unmappedDrive.isNull(); }
};

// Turns a DOS or native path into a native one. Every component after the drive is matched
// case-blind against what exists, because DOS names are; a component that does not exist yet
// keeps the spelling the board wrote. Relative paths are taken from `base`.
ResolvedPath resolveDosPath(const DriveMap& drives, const QString& path, const QString& base);

// `name` in `directory`, spelt as it stands on disk where an entry matches it but for case, as
// DOS names are found.
QString caseBlindPath(const QString& directory, const QString& name);

// The fatal start-up text for a DOS path whose drive is not mapped.
QString unmappedDriveMessage(QChar drive, const QString& dosPath);

// "C:\KELD" + "MAIN.CFG" -> "C:\KELD\MAIN.CFG": how the board names a file in a directory field.
QString joinDosPath(const QString& directory, const QString& name);

// The DOS spelling of a native directory: the drive whose mapped directory holds it, the
// deepest such mapping when drives nest; empty when no drive holds it.
QString dosPathOf(const DriveMap& drives, const QString& native);
