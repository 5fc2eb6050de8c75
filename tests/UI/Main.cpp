#include "support/TestSupport.h"

#include <QGuiApplication>

// Like the other tests' main, with windows on the X server, or offscreen without one.
int main(int argc, char** argv) {
    const tavro::test::IsolatedHome home;
    if (!qEnvironmentVariableIsSet("DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");

    ::testing::InitGoogleTest(&argc, argv);
    QGuiApplication app(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}
