#include "Platform/Portal/CastSession.h"

#include "Core/Errors.h"
#include "Core/Log.h"
#include "Platform/Desktop/DBusCall.h"

#include <QDBusArgument>
#include <QDBusObjectPath>

#include <utility>

namespace tavro::portal {
namespace {

constexpr unsigned displays = 1;     // a type of source
constexpr unsigned untilRevoked = 2; // how long a choice persists

const QString sessionInterface = QStringLiteral("org.freedesktop.portal.Session");

// A pair of numbers, "(ii)" on the bus.
template <class Pair>
std::optional<Pair> pairOf(const QVariant& value) {
    if (value.metaType() != QMetaType::fromType<QDBusArgument>())
        return std::nullopt;
    const auto argument = value.value<QDBusArgument>();
    if (argument.currentSignature() != QStringLiteral("(ii)"))
        return std::nullopt;
    int first = 0, second = 0;
    argument.beginStructure();
    argument >> first >> second;
    argument.endStructure();
    return Pair(first, second);
}

// "a(ua{sv})" on the bus.
std::vector<CastStream> streamsOf(const QVariant& value) {
    std::vector<CastStream> streams;
    if (value.metaType() != QMetaType::fromType<QDBusArgument>())
        return streams;
    const auto list = value.value<QDBusArgument>();
    if (list.currentSignature() != QStringLiteral("a(ua{sv})"))
        return streams;
    list.beginArray();
    while (!list.atEnd()) {
        CastStream stream;
        QVariantMap properties;
        list.beginStructure();
        list >> stream.node >> properties;
        list.endStructure();
        stream.id = properties.value(QStringLiteral("id")).toString();
        stream.position = pairOf<QPoint>(properties.value(QStringLiteral("position")));
        stream.size = pairOf<QSize>(properties.value(QStringLiteral("size")));
        stream.sourceType = properties.value(QStringLiteral("source_type")).toUInt();
        streams.push_back(stream);
    }
    list.endArray();
    return streams;
}

QString pathOf(const QVariant& handle) { // some portals send it as a string
    return handle.metaType() == QMetaType::fromType<QDBusObjectPath>()
               ? handle.value<QDBusObjectPath>().path()
               : handle.toString();
}

} // namespace

CastSession::CastSession(QDBusConnection connection, std::function<void()> ended)
    : bus(std::move(connection))
    , onEnd(std::move(ended)) {}

CastSession::~CastSession() {
    if (!handle.isEmpty())
        bus.send(dbus::Peer{service, handle, sessionInterface}.callIfRunning(QStringLiteral("Close")));
}

QCoro::Task<Cast> CastSession::open(unsigned cursorMode, QString restoreToken) {
    static int count = 0;
    auto creating = request(bus, QStringLiteral("CreateSession"), {},
        {{QStringLiteral("session_handle_token"), QStringLiteral("tavro%1").arg(++count)}});
    const QVariantMap created = co_await creating;
    handle = pathOf(created.value(QStringLiteral("session_handle")));
    bus.connect(service, handle, sessionInterface, QStringLiteral("Closed"), this, SLOT(closedByDesktop()));

    QVariantMap wanted{{QStringLiteral("types"), displays}, {QStringLiteral("multiple"), false},
        {QStringLiteral("cursor_mode"), cursorMode}, {QStringLiteral("persist_mode"), untilRevoked}};
    if (!restoreToken.isEmpty())
        wanted.insert(QStringLiteral("restore_token"), restoreToken);
    const QVariant session = QVariant::fromValue(QDBusObjectPath(handle));
    auto selecting = request(bus, QStringLiteral("SelectSources"), {session}, wanted);
    co_await selecting;

    auto starting = request(bus, QStringLiteral("Start"), {session, QString()}, {});
    const QVariantMap started = co_await starting;
    isShared = true;
    co_return Cast{.streams = streamsOf(started.value(QStringLiteral("streams"))),
        .restoreToken = started.value(QStringLiteral("restore_token")).toString()};
}

QCoro::Task<QDBusUnixFileDescriptor> CastSession::pipeWireRemote() {
    auto opening = callCast(bus, QStringLiteral("OpenPipeWireRemote"),
        {QVariant::fromValue(QDBusObjectPath(handle)), QVariantMap()});
    const QDBusMessage reply = co_await opening;
    const auto remote = dbus::value(reply).value<QDBusUnixFileDescriptor>();
    if (!remote.isValid())
        throw PlatformError(
            QStringLiteral("Tavro.Portal"), 2, QStringLiteral("The desktop's portal gives no picture"));
    co_return remote;
}

// Some portals close the session also when the user cancels the dialog.
void CastSession::closedByDesktop() {
    handle.clear();
    if (!isShared)
        return;
    Log::error(
        QStringLiteral("capture: the desktop has ended the sharing of its screen; the last picture stays"));
    tellOfEnd();
}

void CastSession::tellOfEnd() {
    if (!std::exchange(toldOfEnd, true) && onEnd)
        onEnd();
}

} // namespace tavro::portal
