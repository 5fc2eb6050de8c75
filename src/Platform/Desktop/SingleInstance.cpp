#include "Platform/Desktop/SingleInstance.h"

#include "Core/Log.h"
#include "Platform/Desktop/DBusCall.h"

#include <QDBusConnectionInterface>
#include <QTimer>

#include <chrono>
#include <utility>

namespace tavro {
namespace {

const dbus::Peer application{QStringLiteral("com.quembridge.tavro"), QStringLiteral("/com/quembridge/tavro"),
    QStringLiteral("org.freedesktop.Application")};

constexpr std::chrono::milliseconds patience{5000};
/// The call that started the program comes as soon as the name is there. What began in a terminal that the
/// bus started has that environment, too, and no such call.
constexpr std::chrono::milliseconds startingCall{2000};

/// Asks the environment, and takes the answer out of it: a child process was not started by the bus.
bool wasStartedByTheBus() {
    const bool answer = qEnvironmentVariableIsSet("DBUS_STARTER_ADDRESS");
    qunsetenv("DBUS_STARTER_ADDRESS");
    qunsetenv("DBUS_STARTER_BUS_TYPE");
    return answer;
}

} // namespace

class SingleInstance::Service final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")
public:
    explicit Service(Requests given) : requests(std::move(given)) {}

    Role claim() {
        if (!bus.isConnected())
            return Role::alone;
        // Register the object before the name, so that a caller of the name finds the object.
        bus.registerObject(application.path, this, QDBusConnection::ExportScriptableSlots);
        const auto reply = bus.interface()->registerService(application.service);
        if (!reply.isValid())
            return Role::alone;
        if (reply == QDBusConnectionInterface::ServiceRegistered) {
            QTimer::singleShot(startingCall, this, [this] { isStarting = false; });
            return Role::first;
        }
        bus.unregisterObject(application.path);
        return activateOther() ? Role::second : claim();
    }

    void release() {
        if (bus.isConnected())
            bus.interface()->unregisterService(application.service);
        bus.unregisterObject(application.path);
    }

public slots:
    Q_SCRIPTABLE void Activate(const QVariantMap&) {
        if (!std::exchange(isStarting, false))
            requests.activate();
    }
    Q_SCRIPTABLE void Open(const QStringList&, const QVariantMap& data) { Activate(data); } // no documents
    Q_SCRIPTABLE void ActivateAction(const QString& name, const QVariantList&, const QVariantMap&) {
        isStarting = false;
        requests.action(name);
    }

private:
    /// False when the other instance has ended meanwhile.
    bool activateOther() {
        const auto call = application.callIfRunning(QStringLiteral("Activate"), {QVariantMap()});
        const auto reply = bus.call(call, QDBus::Block, patience.count());
        if (dbus::succeeded(reply))
            return true;
        if (!bus.interface()->isServiceRegistered(application.service))
            return false;
        Log::error(QStringLiteral("Tavro already runs, but does not answer: ") + reply.errorMessage());
        return true;
    }

    /// The bus starts the program for a call and passes it on. "Activate" then is this start, not a second
    /// one.
    bool isStarting = wasStartedByTheBus();
    const Requests requests;
    QDBusConnection bus = QDBusConnection::sessionBus();
};

bool SingleInstance::ask(const QString& action) {
    const auto call =
        application.callIfRunning(QStringLiteral("ActivateAction"), {action, QVariantList(), QVariantMap()});
    return dbus::succeeded(QDBusConnection::sessionBus().call(call, QDBus::Block, patience.count()));
}

SingleInstance::SingleInstance(Requests requests) : service(std::make_unique<Service>(std::move(requests))) {}

SingleInstance::~SingleInstance() = default;

SingleInstance::Role SingleInstance::claim() {
    return service->claim();
}

void SingleInstance::release() {
    service->release();
}

} // namespace tavro

#include "SingleInstance.moc"
