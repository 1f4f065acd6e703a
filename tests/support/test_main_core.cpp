#include <QCoreApplication>
#include <gtest/gtest.h>

#include "testsupport.h"

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    zltest::installWarningGuard();
    return RUN_ALL_TESTS();
}
