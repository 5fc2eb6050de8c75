#include "support/TestSupport.h"

#include <QGuiApplication>

// As the main of the other tests, with windows: on the X server that is there, else on none.
int main(int argc, char** argv) {
    const tavro::test::IsolatedHome home;
    if (!qEnvironmentVariableIsSet("DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");

    ::testing::InitGoogleTest(&argc, argv);
    QGuiApplication app(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}
