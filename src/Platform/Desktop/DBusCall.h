#pragma once

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include <functional>
#include <utility>

namespace tavro::dbus {

struct Peer {
    QString service;
    QString path;
    QString interface;

    QDBusMessage call(const QString& method, const QVariantList& arguments = {}) const {
        auto message = QDBusMessage::createMethodCall(service, path, interface, method);
        message.setArguments(arguments);
        return message;
    }
    /// Like `call`, but fails instead of starting the service.
    QDBusMessage callIfRunning(const QString& method, const QVariantList& arguments = {}) const {
        auto message = call(method, arguments);
        message.setAutoStartService(false);
        return message;
    }
};

/// Never blocks. `handler` gets the reply or the error later on this thread, unless `context` is destroyed.
inline void send(const QDBusConnection& bus, const QDBusMessage& message, QObject* context,
    std::function<void(const QDBusMessage& reply)> handler) {
    if (!bus.isConnected()) { // Qt calls no handler then
        const auto error = QDBusMessage::createError(QDBusError::Disconnected, bus.lastError().message());
        QMetaObject::invokeMethod(
            context, [handler = std::move(handler), error] { handler(error); }, Qt::QueuedConnection);
        return;
    }
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(message), context);
    QObject::connect(
        watcher, &QDBusPendingCallWatcher::finished, context, [watcher, handler = std::move(handler)] {
            watcher->deleteLater();
            handler(watcher->reply());
        });
}

inline bool succeeded(const QDBusMessage& reply) {
    return reply.type() == QDBusMessage::ReplyMessage;
}

/// The first value of a reply, without its variant wrappers.
inline QVariant value(const QDBusMessage& reply) {
    QVariant first = reply.arguments().value(0);
    while (first.metaType() == QMetaType::fromType<QDBusVariant>())
        first = first.value<QDBusVariant>().variant();
    return first;
}

} // namespace tavro::dbus
