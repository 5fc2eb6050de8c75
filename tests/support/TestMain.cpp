#include "support/TestSupport.h"

#include <QCoreApplication>

int main(int argc, char** argv) {
    const tavro::test::IsolatedHome home;

    ::testing::InitGoogleTest(&argc, argv);
    QCoreApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
