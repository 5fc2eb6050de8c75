#include "Platform/Desktop/DesktopInhibitor.h"

#include "Platform/Desktop/DBusCall.h"

#include <QDBusUnixFileDescriptor>
#include <QObject>

#include <optional>
#include <vector>

namespace tavro {
namespace {

const QString application = QStringLiteral("com.quembridge.tavro");

struct CookieService {
    dbus::Peer peer;
    QVariantList arguments;
    QString release;
};

std::vector<CookieService> cookieServices(const QString& reason) {
    constexpr uint noSuspend = 4, noIdle = 8, noWindow = 0;
    const QString screenSaver = QStringLiteral("org.freedesktop.ScreenSaver");
    const QString powerManager = QStringLiteral("org.freedesktop.PowerManagement");
    const QString gnome = QStringLiteral("org.gnome.SessionManager");
    return {
        {{screenSaver, QStringLiteral("/org/freedesktop/ScreenSaver"), screenSaver}, {application, reason},
            QStringLiteral("UnInhibit")},
        {{powerManager, QStringLiteral("/org/freedesktop/PowerManagement/Inhibit"),
             QStringLiteral("org.freedesktop.PowerManagement.Inhibit")},
            {application, reason}, QStringLiteral("UnInhibit")},
        {{gnome, QStringLiteral("/org/gnome/SessionManager"), gnome},
            {application, noWindow, reason, noSuspend | noIdle}, QStringLiteral("Uninhibit")},
    };
}

const dbus::Peer loginManager{QStringLiteral("org.freedesktop.login1"),
    QStringLiteral("/org/freedesktop/login1"), QStringLiteral("org.freedesktop.login1.Manager")};

/// The granted inhibitions. Deletes itself after the last reply and the release of all.
class Grants final : public QObject {
public:
    Grants(QDBusConnection sessionBus, QDBusConnection systemBus)
        : session(std::move(sessionBus))
        , system(std::move(systemBus)) {}

    void ask(const QString& reason) {
        for (const auto& service : cookieServices(reason)) {
            send(session, service.peer.callIfRunning(QStringLiteral("Inhibit"), service.arguments),
                [this, service](const QDBusMessage& reply) {
                    held.push_back({service, dbus::value(reply).toUInt()});
                });
        }
        const QVariantList what{
            QStringLiteral("sleep:idle"), QStringLiteral("Tavro"), reason, QStringLiteral("block")};
        send(system, loginManager.callIfRunning(QStringLiteral("Inhibit"), what),
            [this](const QDBusMessage& reply) {
                login = dbus::value(reply).value<QDBusUnixFileDescriptor>(); // inhibits while it is open
            });
    }

    void end() {
        ended = true;
        giveBack();
    }

private:
    void send(const QDBusConnection& bus, const QDBusMessage& message,
        std::function<void(const QDBusMessage&)> granted) {
        ++unanswered;
        dbus::send(bus, message, this, [this, granted = std::move(granted)](const QDBusMessage& reply) {
            --unanswered;
            if (dbus::succeeded(reply))
                granted(reply);
            if (ended)
                giveBack();
        });
    }

    void giveBack() {
        for (const auto& [service, cookie] : std::exchange(held, {}))
            session.send(service.peer.callIfRunning(service.release, {cookie}));
        login = {};
        if (unanswered == 0)
            deleteLater();
    }

    struct Held {
        CookieService service;
        uint cookie;
    };
    QDBusConnection session;
    QDBusConnection system;
    std::vector<Held> held;
    QDBusUnixFileDescriptor login;
    int unanswered = 0;
    bool ended = false;
};

class DesktopInhibition final : public PowerInhibitor::Inhibition {
public:
    explicit DesktopInhibition(Grants* given) : grants(given) {}
    ~DesktopInhibition() override { grants->end(); }

private:
    Grants* grants;
};

} // namespace

DesktopInhibitor::DesktopInhibitor(QDBusConnection sessionBus, QDBusConnection systemBus)
    : session(std::move(sessionBus))
    , system(std::move(systemBus)) {}

std::unique_ptr<PowerInhibitor::Inhibition> DesktopInhibitor::inhibit(const QString& reason) {
    auto* grants = new Grants(session, system);
    grants->ask(reason);
    return std::make_unique<DesktopInhibition>(grants);
}

} // namespace tavro
