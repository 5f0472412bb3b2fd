#include <QCoreApplication>

#include <gtest/gtest.h>

// Sockets, timers and deferred calls need an application object; tests spin its event loop
// themselves while they wait for something to happen.
int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
