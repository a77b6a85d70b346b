// The settings tests drive real widgets, so one QApplication lives for the run.
#include <QApplication>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    // Test discovery runs the program outside ctest's environment: never reach
    // for a display there either.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
