#pragma once

#include <QStringList>

// `keldts demo-node NODE HANDLE`: the demo board's stand-in for the DOS BBS. It talks to the
// caller on the socket at descriptor HANDLE, keeps its CONTROL.DAT record current and tells its
// own terminal (the node's window) what it does.
int runDemoNode(const QStringList& args);
