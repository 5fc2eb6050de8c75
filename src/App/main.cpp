#include "App/AppDelegate.h"
#include "App/CommandLine.h"
#include "App/DisplayNeeded.h"
#include "App/LinuxDesktop.h"
#include "App/TerminationSignals.h"
#include "Core/DesktopSession.h"
#include "Core/StandardStreams.h"
#include "Core/Version.h"
#include "Platform/Desktop/SingleInstance.h"
#include "Platform/X11/ServerProbe.h"
#include "UI/Theme.h"

#include <QApplication>
#include <QNetworkProxyFactory>

#include <chrono>
#include <malloc.h>
#include <memory>
#include <optional>

namespace {

void describeApplication() {
    QCoreApplication::setApplicationName(QStringLiteral("Tavro"));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(tavro::version));
    QGuiApplication::setDesktopFileName(QStringLiteral("com.quembridge.tavro"));
    QGuiApplication::setQuitOnLastWindowClosed(false);
}

/// A setting for Qt's start in the environment, which child processes must not inherit.
class QtSetting {
public:
    QtSetting(const char* name, const QByteArray& value) : variable(name) { qputenv(variable, value); }
    ~QtSetting() {
        if (before.isNull())
            qunsetenv(variable);
        else
            qputenv(variable, before);
    }
    QtSetting(const QtSetting&) = delete;
    QtSetting& operator=(const QtSetting&) = delete;

private:
    const char* const variable;
    const QByteArray before = qgetenv(variable);
};

/// On a Wayland desktop the windows go to its X server, when it has one and the user did not choose: Wayland
/// has no means to place the bar or to keep it above other windows.
bool prefersX11() {
    constexpr std::chrono::seconds patience{3}; // some desktops start their server at the first connection
    return tavro::isWaylandSession() && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") &&
           tavro::acceptsClients(patience);
}

std::unique_ptr<QApplication> startQt(int& argc, char** argv) {
    const tavro::DisplayNeeded orTheEnd;
    const QtSetting noOpenGL("QT_XCB_GL_INTEGRATION", "none"); // no window uses it, and it takes memory
    std::optional<QtSetting> windows;
    if (prefersX11())
        windows.emplace("QT_QPA_PLATFORM", "xcb;wayland");
    return std::make_unique<QApplication>(argc, argv);
}

} // namespace

int main(int argc, char** argv) {
    using namespace tavro;
    secureStandardStreams();
    if (const auto answered = answerCommandLine(argc, argv))
        return *answered;
    ::mallopt(M_ARENA_MAX, 2); // few threads allocate at once, and each arena keeps freed memory
    describeApplication();
    const auto application = startQt(argc, argv);

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
    const int code = QApplication::exec();
    QCoreApplication::sendPostedEvents(); // ends tasks whose answers came just after the loop's end
    return code;
}
