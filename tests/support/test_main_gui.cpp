#include <QGuiApplication>
#include <gtest/gtest.h>

#include "testsupport.h"

int main(int argc, char** argv) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    zltest::installWarningGuard();
    return RUN_ALL_TESTS();
}
