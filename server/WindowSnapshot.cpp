#include "server/WindowSnapshot.h"

qint64 WindowSnapshot::findWindow(const QString& title) {
    if (!windows_)
        return host_.findWindow(title);
    for (const Window& w : *windows_) {
        if (w.title == title)
            return w.handle;
    }
    return 0;
}

bool WindowSnapshot::isWindow(qint64 handle) {
    if (!windows_)
        return host_.isWindow(handle);
    for (const Window& w : *windows_) {
        if (w.handle == handle)
            return handle != 0;
    }
    return false;
}
