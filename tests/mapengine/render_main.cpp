#include <QGuiApplication>
#include <gtest/gtest.h>

#include "testsupport.h"

// The render test wants a real X display with OpenGL (Mesa's llvmpipe under
// Xvfb will do). Without DISPLAY it still starts, offscreen, and the tests
// that need OpenGL fail.
int main(int argc, char** argv) {
    if (qEnvironmentVariableIsSet("DISPLAY")) {
        qputenv("QT_QPA_PLATFORM", "xcb");
    } else {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    qputenv("QSG_RHI_BACKEND", "opengl");
    QGuiApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    zltest::installWarningGuard();
    return RUN_ALL_TESTS();
}
