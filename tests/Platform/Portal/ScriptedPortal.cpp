#include "ScriptedPortal.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>

#include <algorithm>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace tavro::test {
namespace {

const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
const QString root = QStringLiteral("/org/freedesktop/portal/desktop");
const QString cast = QStringLiteral("org.freedesktop.portal.ScreenCast");

struct Pair {
    int first = 0, second = 0;
};
QDBusArgument& operator<<(QDBusArgument& argument, const Pair& pair) {
    argument.beginStructure();
    argument << pair.first << pair.second;
    argument.endStructure();
    return argument;
}
const QDBusArgument& operator>>(const QDBusArgument& argument, Pair&) {
    return argument;
}

struct Shared {
    unsigned node = 0;
    QVariantMap properties;
};
QDBusArgument& operator<<(QDBusArgument& argument, const Shared& shared) {
    argument.beginStructure();
    argument << shared.node << shared.properties;
    argument.endStructure();
    return argument;
}
const QDBusArgument& operator>>(const QDBusArgument& argument, Shared&) {
    return argument;
}

QDBusUnixFileDescriptor connectTo(const QString& path) {
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    qstrncpy(address.sun_path, path.toUtf8().constData(), sizeof address.sun_path);
    ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    const QDBusUnixFileDescriptor descriptor(socket);
    ::close(socket);
    return descriptor;
}

} // namespace
} // namespace tavro::test

Q_DECLARE_METATYPE(tavro::test::Pair)
Q_DECLARE_METATYPE(tavro::test::Shared)
Q_DECLARE_METATYPE(QList<tavro::test::Shared>)

namespace tavro::test {

ScriptedPortal::ScriptedPortal(Script given)
    : script(std::move(given))
    , bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("scripted-portal"))) {
    qDBusRegisterMetaType<Pair>();
    qDBusRegisterMetaType<Shared>();
    qDBusRegisterMetaType<QList<Shared>>();
    bus.registerVirtualObject(root, this, QDBusConnection::SubPath);
    bus.registerService(service);
}

ScriptedPortal::~ScriptedPortal() {
    leaveBus();
}

void ScriptedPortal::leaveBus() {
    bus.unregisterService(service);
    bus.unregisterObject(root, QDBusConnection::UnregisterTree);
    QDBusConnection::disconnectFromBus(QStringLiteral("scripted-portal"));
}

void ScriptedPortal::closeSessions() {
    for (const QString& session : sessions)
        bus.send(QDBusMessage::createSignal(
            session, QStringLiteral("org.freedesktop.portal.Session"), QStringLiteral("Closed")));
    sessions.clear();
}

QVariantMap ScriptedPortal::optionsOf(const QString& method, int session) const {
    for (const Call& call : calls)
        if (call.method == method && session-- == 0)
            return call.options;
    return {};
}

int ScriptedPortal::callsOf(const QString& method) const {
    return static_cast<int>(std::ranges::count(calls, method, &Call::method));
}

QString ScriptedPortal::introspect(const QString&) const {
    return {};
}

bool ScriptedPortal::handleMessage(const QDBusMessage& message, const QDBusConnection&) {
    const QString method = message.member();
    if (method == u"GetAll") {
        const QVariantMap properties{{QStringLiteral("version"), script.version},
            {QStringLiteral("AvailableSourceTypes"), 3U},
            {QStringLiteral("AvailableCursorModes"), script.cursorModes}};
        bus.send(message.createReply(
            message.arguments().value(0) == cast ? QVariant(properties) : QVariant(QVariantMap())));
        return true;
    }
    if (method == u"Close") {
        std::erase(sessions, message.path());
        return true;
    }
    if (method == u"OpenPipeWireRemote") {
        bus.send(message.createReply(QVariant::fromValue(connectTo(script.remote))));
        return true;
    }
    if (message.interface() != cast)
        return false;
    const auto options = qdbus_cast<QVariantMap>(message.arguments().last());
    calls.push_back({method, options});
    QVariantMap results;
    const bool isRefused = script.refusals.contains(method);
    if (method == u"CreateSession" && !isRefused) {
        QString sender = message.service().mid(1);
        const QString session = root + QStringLiteral("/session/") + sender.replace(u'.', u'_') + u'/' +
                                options.value(QStringLiteral("session_handle_token")).toString();
        sessions.push_back(session);
        results.insert(QStringLiteral("session_handle"), session);
    } else if (method == u"Start" && !isRefused) {
        results = startResults();
    }
    answer(message, options, results);
    return true;
}

void ScriptedPortal::answer(const QDBusMessage& message, const QVariantMap& options, QVariantMap results) {
    QString sender = message.service().mid(1);
    const QString request = root + QStringLiteral("/request/") + sender.replace(u'.', u'_') + u'/' +
                            options.value(QStringLiteral("handle_token")).toString();
    bus.send(message.createReply(QVariant::fromValue(QDBusObjectPath(request))));
    if (std::ranges::find(script.silent, message.member()) != script.silent.end())
        return;
    auto response = QDBusMessage::createSignal(
        request, QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"));
    const auto refusal = script.refusals.find(message.member());
    const unsigned code = refusal == script.refusals.end() ? 0 : refusal->second;
    if (code != 0 && script.closesOnRefusal)
        closeSessions();
    response << code << (code == 0 ? results : QVariantMap());
    bus.send(response);
}

QVariantMap ScriptedPortal::startResults() {
    const Choice& choice = script.choices.at(std::min(started++, script.choices.size() - 1));
    QList<Shared> streams;
    for (const Stream& stream : choice.streams) {
        Shared shared{stream.node, {{QStringLiteral("source_type"), stream.type}}};
        if (stream.size)
            shared.properties.insert(QStringLiteral("size"),
                QVariant::fromValue(Pair{stream.size->width(), stream.size->height()}));
        if (stream.position)
            shared.properties.insert(QStringLiteral("position"),
                QVariant::fromValue(Pair{stream.position->x(), stream.position->y()}));
        if (!stream.id.isEmpty())
            shared.properties.insert(QStringLiteral("id"), stream.id);
        streams.append(shared);
    }
    QVariantMap results{{QStringLiteral("streams"), QVariant::fromValue(streams)}};
    if (!choice.token.isEmpty())
        results.insert(QStringLiteral("restore_token"), choice.token);
    return results;
}

} // namespace tavro::test
