#include "App/AppDelegate.h"
#include "App/LinuxDesktop.h"
#include "App/TerminationSignals.h"
#include "Core/StandardStreams.h"
#include "Platform/Desktop/SingleInstance.h"
#include "UI/Theme.h"

#include <QApplication>
#include <QNetworkProxyFactory>

#include <malloc.h>
#include <optional>

namespace {

void describeApplication() {
    QCoreApplication::setApplicationName(QStringLiteral("Tavro"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TAVRO_VERSION));
    QGuiApplication::setDesktopFileName(QStringLiteral("com.quembridge.tavro"));
    QGuiApplication::setQuitOnLastWindowClosed(false);
}

/// Keeps Qt from loading the OpenGL libraries, which no window uses.
class WithoutOpenGL {
public:
    WithoutOpenGL() { qputenv(variable, "none"); }
    ~WithoutOpenGL() { // child processes must not inherit the setting
        if (before.isNull())
            qunsetenv(variable);
        else
            qputenv(variable, before);
    }

private:
    static constexpr auto variable = "QT_XCB_GL_INTEGRATION";
    const QByteArray before = qgetenv(variable);
};

} // namespace

int main(int argc, char** argv) {
    using namespace tavro;
    secureStandardStreams();
    ::mallopt(M_ARENA_MAX, 2); // few threads allocate at once, and each arena keeps freed memory
    describeApplication();
    std::optional<WithoutOpenGL> withoutOpenGL{std::in_place};
    QApplication application(argc, argv);
    withoutOpenGL.reset();

    AppDelegate* controller = nullptr;
    const auto ask = [&controller](void (AppDelegate::*request)()) {
        if (controller)
            (controller->*request)();
    };
    SingleInstance instance({
        .activate = [&] { ask(&AppDelegate::startedAgain); },
        .action =
            [&](const QString& name) {
                if (name == u"new-session")
                    ask(&AppDelegate::showSetup);
                else if (name == u"settings")
                    ask(&AppDelegate::showSettings);
                else if (name == u"view-logs")
                    ask(&AppDelegate::openLogs);
                else if (name == u"quit")
                    QCoreApplication::quit();
            },
    });
    if (instance.claim() == SingleInstance::Role::second)
        return 0;

    QNetworkProxyFactory::setUseSystemConfiguration(true);
    const TerminationSignals terminationSignals;
    Theme::registerFonts();
    LinuxDesktop desktop;
    AppDelegate delegate(desktop, [&] { instance.release(); });
    controller = &delegate;
    delegate.applicationDidFinishLaunching();
    return QApplication::exec();
}
