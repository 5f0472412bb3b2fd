#include <QApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    // Test discovery runs the program at build time, where no display may exist.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
