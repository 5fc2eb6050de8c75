#include <QGuiApplication>
#include <QTemporaryDir>
#include <gtest/gtest.h>

// As the main of the other tests, with windows: on the X server that is there, else on none.
int main(int argc, char** argv) {
    const QTemporaryDir home;
    for (const char* variable :
        {"HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
        qputenv(variable, (home.path() + QLatin1Char('/') + QString::fromLatin1(variable)).toUtf8());
    qunsetenv("TMPDIR");
    if (!qEnvironmentVariableIsSet("DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");

    ::testing::InitGoogleTest(&argc, argv);
    QGuiApplication app(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}
