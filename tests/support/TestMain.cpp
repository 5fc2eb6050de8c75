#include <QCoreApplication>
#include <QTemporaryDir>
#include <gtest/gtest.h>

// Every test program runs in a home of its own, so that no test reads or writes what is the user's.
int main(int argc, char** argv) {
    const QTemporaryDir home;
    for (const char* variable :
        {"HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
        qputenv(variable, (home.path() + QLatin1Char('/') + QString::fromLatin1(variable)).toUtf8());
    qunsetenv("TMPDIR");

    ::testing::InitGoogleTest(&argc, argv);
    QCoreApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
