#pragma once

#include <QString>
#include <QStringList>

#include <cstdio>

// The commands that work on a board's files without its server: `keldts table` and
// `keldts edit`, and what they share with `keldts ctl`.

// Writes `text` and a line end, at once.
void printLine(FILE* stream, const QString& text);
// Takes "--board DIR" out of `words`; the board is the current directory unless named.
QString takeBoardOption(QStringList& words);

int runTable(int argc, char** argv);
// `keldts users find TEXT` lists the users whose handle or name holds TEXT; `keldts users
// reindex` writes USERFILE.IDX anew.
int runUsers(int argc, char** argv);
// Prints the path diagnostics of the board; 0 when all is well, 1 otherwise.
int runDiagnose(int argc, char** argv);
// `keldts orne show` prints the keys of the mail and news kit's ORNE-INET.INI; `keldts orne set
// KEY=VALUE...` writes them as its configuration form does.
int runOrne(int argc, char** argv);
// Opens a script or a function block of the script directory in the sysop's text editor:
// $VISUAL, else $EDITOR, else vi, in this terminal.
int runEdit(int argc, char** argv);
