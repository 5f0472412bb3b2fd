#include "data/Board.h"

#include "platform/DosPath.h"

#include <QDir>

QString Board::directoryPath(std::string_view directoryField) const {
    return resolveDosPath(platform.drives, sysPaths.text(directoryField), QDir::currentPath()).path;
}

QString Board::filePath(std::string_view directoryField, const QString& name) const {
    const QString dosPath = joinDosPath(sysPaths.text(directoryField), name);
    return resolveDosPath(platform.drives, dosPath, QDir::currentPath()).path;
}
