#include "Platform/Desktop/SecretPrompt.h"

#include "Platform/Desktop/DBusCall.h"

#include <utility>

namespace tavro {

namespace {
const QString interface = QStringLiteral("org.freedesktop.Secret.Prompt");
const QString completed = QStringLiteral("Completed");
} // namespace

SecretPrompt::SecretPrompt(QDBusConnection connection, const QString& service, const QString& path)
    : bus(std::move(connection))
    , watcher(service, bus, QDBusServiceWatcher::WatchForUnregistration)
    , owner(service)
    , object(path) {
    connect(&watcher, &QDBusServiceWatcher::serviceUnregistered, this, [this] { over = true; });
    bus.connect(owner, object, interface, completed, this, SLOT(complete(bool, QDBusVariant)));
    const QString noWindow;
    dbus::send(bus, dbus::Peer{owner, object, interface}.call(QStringLiteral("Prompt"), {noWindow}), this,
        [this](const QDBusMessage& reply) { over = over || !dbus::succeeded(reply); });
}

SecretPrompt::~SecretPrompt() {
    bus.disconnect(owner, object, interface, completed, this, SLOT(complete(bool, QDBusVariant)));
}

void SecretPrompt::complete(bool dismissed, const QDBusVariant& outcome) {
    over = true;
    if (!dismissed)
        value = outcome.variant();
}

} // namespace tavro
