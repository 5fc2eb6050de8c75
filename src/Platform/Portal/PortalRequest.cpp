#include "Platform/Portal/PortalRequest.h"

#include "Core/Errors.h"
#include "Core/Promise.h"
#include "Platform/Desktop/DBusCall.h"
#include "Platform/ScreenCapture.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusServiceWatcher>
#include <QObject>

#include <utility>

namespace tavro::portal {
namespace {

const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
const QString castInterface = QStringLiteral("org.freedesktop.portal.ScreenCast");
const dbus::Peer cast{service, path, castInterface};

PlatformError portalError(int code, const QString& message) {
    return PlatformError(QStringLiteral("Tavro.Portal"), code, message);
}

QCoro::Task<QDBusMessage> answerTo(QDBusConnection bus, QDBusMessage message) {
    QObject context;
    const Promise<QDBusMessage> answer;
    dbus::send(bus, message, &context, [answer](const QDBusMessage& reply) { answer.resolve(reply); });
    co_return co_await answer;
}

enum class Code : unsigned { success = 0, cancelled = 1 };

} // namespace

/// One Request object of the portal. Listens before the call: the answer may come before the call's reply.
class Request final : public QObject {
    Q_OBJECT

public:
    struct Answer {
        unsigned code = 0;
        QVariantMap results;
    };

    explicit Request(QDBusConnection connection)
        : bus(std::move(connection))
        , end(service, bus, QDBusServiceWatcher::WatchForUnregistration) {
        QString sender = bus.baseService().mid(1);
        sender.replace(u'.', u'_');
        listenAt(path + QStringLiteral("/request/") + sender + u'/' + token);
        connect(&end, &QDBusServiceWatcher::serviceUnregistered, this,
            [this] { fail(portalError(3, QStringLiteral("The desktop's portal has ended"))); });
    }

    const QString& handleToken() const { return token; }
    const Promise<Answer>& answer() const { return promise; }

    /// `handle` differs from the expected path with old portals.
    void called(const QDBusMessage& reply) {
        if (!dbus::succeeded(reply))
            return fail(portalError(2, reply.errorMessage()));
        const QString handle = dbus::value(reply).value<QDBusObjectPath>().path();
        if (handle != listening)
            listenAt(handle);
    }

private slots:
    void response(uint code, const QVariantMap& results) { promise.resolve(Answer{code, results}); }

private:
    void listenAt(const QString& handle) {
        listening = handle;
        bus.connect(service, handle, QStringLiteral("org.freedesktop.portal.Request"),
            QStringLiteral("Response"), this, SLOT(response(uint, QVariantMap)));
    }
    void fail(const PlatformError& error) { promise.reject(std::make_exception_ptr(error)); }

    static QString nextToken() {
        static int count = 0;
        return QStringLiteral("tavro%1").arg(++count);
    }

    QDBusConnection bus;
    QDBusServiceWatcher end;
    const QString token = nextToken();
    QString listening;
    const Promise<Answer> promise;
};

QCoro::Task<CastAbilities> castAbilities(QDBusConnection bus) {
    const dbus::Peer properties{service, path, QStringLiteral("org.freedesktop.DBus.Properties")};
    auto asking = answerTo(bus, properties.call(QStringLiteral("GetAll"), {castInterface}));
    const QDBusMessage reply = co_await asking;
    const auto found = qdbus_cast<QVariantMap>(reply.arguments().value(0));
    if (!dbus::succeeded(reply) || found.isEmpty())
        throw portalError(
            1, QStringLiteral(
                   "This desktop has no portal that shares the screen. Install xdg-desktop-portal and "
                   "the one of your desktop, for example xdg-desktop-portal-gnome, "
                   "xdg-desktop-portal-kde or xdg-desktop-portal-wlr."));
    co_return CastAbilities{.version = found.value(QStringLiteral("version")).toUInt(),
        .sourceTypes = found.value(QStringLiteral("AvailableSourceTypes")).toUInt(),
        .cursorModes = found.value(QStringLiteral("AvailableCursorModes")).toUInt()};
}

QCoro::Task<QDBusMessage> callCast(QDBusConnection bus, QString method, QVariantList arguments) {
    auto asking = answerTo(bus, cast.call(method, arguments));
    const QDBusMessage reply = co_await asking;
    if (!dbus::succeeded(reply))
        throw portalError(2, reply.errorMessage());
    co_return reply;
}

QCoro::Task<QVariantMap> request(
    QDBusConnection bus, QString method, QVariantList arguments, QVariantMap options) {
    Request pending(bus);
    options.insert(QStringLiteral("handle_token"), pending.handleToken());
    arguments.append(options);
    dbus::send(bus, cast.call(method, arguments), &pending,
        [&pending](const QDBusMessage& reply) { pending.called(reply); });
    const auto answer = pending.answer();
    const Request::Answer got = co_await answer;
    if (got.code == unsigned(Code::cancelled))
        throw CaptureCancelled();
    if (got.code != unsigned(Code::success))
        throw portalError(2, QStringLiteral("The desktop did not share its screen (%1)").arg(method));
    co_return got.results;
}

} // namespace tavro::portal

#include "PortalRequest.moc"
