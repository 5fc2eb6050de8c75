#include "Platform/Desktop/SecretServiceConnection.h"

#include "Platform/Desktop/DBusCall.h"
#include "Platform/Desktop/SecretPrompt.h"

#include <QEventLoop>

#include <atomic>
#include <climits>
#include <mutex>
#include <unistd.h>
#include <utility>

namespace tavro {

namespace {

using Paths = QList<QDBusObjectPath>;
using Attributes = QMap<QString, QString>;

const QString serviceName = QStringLiteral("org.freedesktop.secrets");
const QString serviceInterface = QStringLiteral("org.freedesktop.Secret.Service");
const QString collectionInterface = QStringLiteral("org.freedesktop.Secret.Collection");
const QString itemInterface = QStringLiteral("org.freedesktop.Secret.Item");
const dbus::Peer busItself{QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
    QStringLiteral("org.freedesktop.DBus")};

/// A secret as it travels. It is not encrypted for the way: the bus is this user's own, and who could listen
/// there could as well ask the service.
struct Secret {
    QDBusObjectPath session;
    QByteArray parameters; // of the encryption
    QByteArray value;
    QString contentType = QStringLiteral("text/plain");
};

QDBusArgument& operator<<(QDBusArgument& argument, const Secret& secret) {
    argument.beginStructure();
    argument << secret.session << secret.parameters << secret.value << secret.contentType;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, Secret& secret) {
    argument.beginStructure();
    argument >> secret.session >> secret.parameters >> secret.value >> secret.contentType;
    argument.endStructure();
    return argument;
}

// Needs no registration of the type, and the bus's own thread gets nothing that is ours.
template <class T>
QVariant marshalled(const T& value) {
    QDBusArgument argument;
    argument << value;
    return QVariant::fromValue(argument);
}

// Of an error there is nothing: its argument is a text.
template <class T>
T argument(const QDBusMessage& reply, int index) {
    return dbus::succeeded(reply) ? qdbus_cast<T>(reply.arguments().value(index)) : T();
}

// Where an answer may name an object, this is none.
bool isNone(const QDBusObjectPath& path) {
    return path.path().size() <= 1;
}

// The two attributes by which every client finds the item; it need not have been stored by this program.
Attributes attributes(const SecretKey& key) {
    return {{QStringLiteral("service"), key.service}, {QStringLiteral("account"), key.account}};
}

// Looking for a bus where no address is known would start one, for nobody but this program.
bool busIsKnown() {
    return qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS") ||
           ::access((qgetenv("XDG_RUNTIME_DIR") + "/bus").constData(), F_OK) == 0;
}

} // namespace

class SecretServiceConnection::Bus {
public:
    struct Found {
        Paths unlocked;
        Paths locked;
    };

    void attach() {
        const std::lock_guard lock(mutex);
        events = std::make_unique<QEventLoop>();
    }

    void detach() {
        disconnect();
        const std::lock_guard lock(mutex);
        events.reset();
    }

    void serveEvents() { events->processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents); }

    void wake() {
        const std::lock_guard lock(mutex);
        if (events)
            events->wakeUp();
    }

    bool connect() {
        if (connection.isConnected())
            return true;
        disconnect();
        if (!busIsKnown())
            return false;
        // Not the one that the rest of the program shares: what is asked here may take its time.
        static std::atomic<int> number = 0;
        connection = QDBusConnection::connectToBus(
            QDBusConnection::SessionBus, QStringLiteral("secrets-%1").arg(++number));
        return connection.isConnected();
    }

    QDBusMessage ask(const QDBusMessage& message) {
        const QDBusPendingCallWatcher call(connection.asyncCall(message, INT_MAX));
        await([&] { return call.isFinished(); });
        return call.reply();
    }

    QDBusMessage askService(
        const QString& path, const QString& interface, const QString& method, const QVariantList& arguments) {
        return ask(dbus::Peer{owner, path, interface}.call(method, arguments));
    }

    QDBusMessage askService(const QString& method, const QVariantList& arguments) {
        return askService(QStringLiteral("/org/freedesktop/secrets"), serviceInterface, method, arguments);
    }

    // Answered by the name on the bus of the process that serves secrets now.
    QDBusMessage askForOwner() { return ask(busItself.call(QStringLiteral("GetNameOwner"), {serviceName})); }

    // Its sessions end with a service's process: one that was restarted needs a new one.
    void setOwner(const QString& now) {
        if (now != std::exchange(owner, now))
            session = {};
    }

    bool openSession() {
        if (isNone(session) && !owner.isEmpty()) {
            const auto reply = askService(QStringLiteral("OpenSession"),
                {QStringLiteral("plain"), marshalled(QDBusVariant(QString()))});
            session = argument<QDBusObjectPath>(reply, 1);
        }
        return !isNone(session);
    }

    std::optional<Found> search(const SecretKey& key) {
        const auto reply = askService(QStringLiteral("SearchItems"), {marshalled(attributes(key))});
        if (!dbus::succeeded(reply))
            return std::nullopt;
        return Found{argument<Paths>(reply, 0), argument<Paths>(reply, 1)};
    }

    // Waits until the user has given, or refused, the password.
    bool unlock(const Paths& objects) {
        const auto reply = askService(QStringLiteral("Unlock"), {marshalled(objects)});
        if (!argument<Paths>(reply, 0).isEmpty())
            return true;
        const auto opened = ifAnswered(argument<QDBusObjectPath>(reply, 1));
        return opened && !qdbus_cast<Paths>(*opened).isEmpty();
    }

    // Made when there is none yet, with a password that the user chooses.
    QDBusObjectPath defaultCollection() {
        const QString alias = QStringLiteral("default");
        auto known = argument<QDBusObjectPath>(askService(QStringLiteral("ReadAlias"), {alias}), 0);
        if (!isNone(known))
            return known;
        const QVariantMap properties{
            {collectionInterface + QStringLiteral(".Label"), QStringLiteral("Default")}};
        return made(askService(QStringLiteral("CreateCollection"), {properties, alias}));
    }

    bool isLocked(const QDBusObjectPath& object) {
        const auto reply = askService(object.path(), QStringLiteral("org.freedesktop.DBus.Properties"),
            QStringLiteral("Get"), {collectionInterface, QStringLiteral("Locked")});
        return dbus::succeeded(reply) && dbus::value(reply).toBool();
    }

    std::optional<QByteArray> load(const QDBusObjectPath& item) {
        const auto reply =
            askService(item.path(), itemInterface, QStringLiteral("GetSecret"), {marshalled(session)});
        if (!dbus::succeeded(reply))
            return std::nullopt;
        return argument<Secret>(reply, 0).value;
    }

    bool create(const QDBusObjectPath& collection, const SecretKey& key, const QByteArray& value) {
        Attributes identity = attributes(key);
        identity.insert(QStringLiteral("xdg:schema"), QStringLiteral("com.quembridge.tavro"));
        const QVariantMap properties{{itemInterface + QStringLiteral(".Label"), key.service},
            {itemInterface + QStringLiteral(".Attributes"), marshalled(identity)}};
        constexpr bool replace = true;
        return !isNone(made(askService(collection.path(), collectionInterface, QStringLiteral("CreateItem"),
            {properties, marshalled(Secret{session, {}, value}), replace})));
    }

    bool erase(const QDBusObjectPath& item) {
        const auto reply = askService(item.path(), itemInterface, QStringLiteral("Delete"), {});
        const auto prompt = argument<QDBusObjectPath>(reply, 0);
        return dbus::succeeded(reply) && (isNone(prompt) || ifAnswered(prompt));
    }

    bool startRefused = false;
    std::atomic<bool> abandoned = false;

private:
    template <class Condition>
    void await(const Condition& isThere) {
        while (!isThere()) {
            if (abandoned)
                throw Abandoned();
            serveEvents();
        }
    }

    std::optional<QVariant> ifAnswered(const QDBusObjectPath& prompt) {
        if (isNone(prompt))
            return std::nullopt;
        const SecretPrompt question(connection, owner, prompt.path());
        await([&] { return question.isOver(); });
        return question.result();
    }

    // The new object that an answer names, now or after a question.
    QDBusObjectPath made(const QDBusMessage& reply) {
        auto object = argument<QDBusObjectPath>(reply, 0);
        if (!isNone(object))
            return object;
        const auto outcome = ifAnswered(argument<QDBusObjectPath>(reply, 1));
        return outcome ? qdbus_cast<QDBusObjectPath>(*outcome) : QDBusObjectPath();
    }

    void disconnect() {
        owner.clear();
        session = {};
        const QString name = connection.name();
        connection = QDBusConnection(QString());
        QDBusConnection::disconnectFromBus(name);
    }

    std::mutex mutex; // over the pointer; the loop is used on its own thread, but to wake it
    std::unique_ptr<QEventLoop> events;
    QDBusConnection connection{QString()};
    QString owner; // the process that the session is with
    QDBusObjectPath session;
};

SecretServiceConnection::SecretServiceConnection() : bus(std::make_unique<Bus>()) {}

SecretServiceConnection::~SecretServiceConnection() = default;

void SecretServiceConnection::attach() {
    bus->attach();
}

void SecretServiceConnection::detach() {
    bus->detach();
}

void SecretServiceConnection::waitForEvents() {
    bus->serveEvents();
}

void SecretServiceConnection::wake() {
    bus->wake();
}

void SecretServiceConnection::abandon() {
    bus->abandoned = true;
    wake();
}

SecretServiceConnection::Presence SecretServiceConnection::presence() {
    if (!bus->connect())
        return Presence::absent;
    auto owner = bus->askForOwner();
    if (owner.errorName() == QStringLiteral("org.freedesktop.DBus.Error.NameHasNoOwner")) {
        // Asked once: a start that fails can take half a minute to do so.
        if (!bus->startRefused)
            bus->startRefused = !dbus::succeeded(
                bus->ask(busItself.call(QStringLiteral("StartServiceByName"), {serviceName, 0U})));
        if (bus->startRefused)
            return Presence::absent;
        owner = bus->askForOwner();
    }
    if (!dbus::succeeded(owner))
        return Presence::unknown;
    bus->startRefused = false;
    bus->setOwner(argument<QString>(owner, 0));
    return Presence::there;
}

bool SecretServiceConnection::prepare() {
    return presence() == Presence::there && bus->openSession();
}

SecretServiceConnection::Lookup SecretServiceConnection::lookup(const SecretKey& key, Locked locked) {
    if (!bus->openSession())
        return {};
    const auto found = bus->search(key);
    if (!found)
        return {};
    if (!found->unlocked.isEmpty())
        return {bus->load(found->unlocked.first()), false};
    if (found->locked.isEmpty())
        return {};
    if (locked == Locked::leave || !bus->unlock(found->locked))
        return {std::nullopt, true};
    return {bus->load(found->locked.first()), false};
}

SecretServiceConnection::Change SecretServiceConnection::store(
    const SecretKey& key, const QByteArray& value, Locked locked) {
    if (!bus->openSession())
        return Change::failed;
    const auto collection = bus->defaultCollection();
    if (isNone(collection))
        return Change::failed;
    if (bus->isLocked(collection) && (locked == Locked::leave || !bus->unlock({collection})))
        return Change::locked;
    return bus->create(collection, key, value) ? Change::made : Change::failed;
}

SecretServiceConnection::Change SecretServiceConnection::clear(const SecretKey& key, Locked locked) {
    if (!bus->openSession())
        return Change::failed;
    const auto found = bus->search(key);
    if (!found)
        return Change::failed;
    if (!found->locked.isEmpty() && (locked == Locked::leave || !bus->unlock(found->locked)))
        return Change::locked;
    bool gone = true;
    for (const QDBusObjectPath& item : found->unlocked + found->locked)
        gone = bus->erase(item) && gone;
    return gone ? Change::made : Change::failed;
}

} // namespace tavro
