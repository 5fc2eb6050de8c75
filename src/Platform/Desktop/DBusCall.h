#pragma once

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include <functional>
#include <utility>

namespace tavro::dbus {

/// One object's interface on a bus.
struct Peer {
    QString service;
    QString path;
    QString interface;

    QDBusMessage call(const QString& method, const QVariantList& arguments = {}) const {
        auto message = QDBusMessage::createMethodCall(service, path, interface, method);
        message.setArguments(arguments);
        return message;
    }
    /// Like `call`, but fails when the service does not run instead of starting it.
    QDBusMessage callIfRunning(const QString& method, const QVariantList& arguments = {}) const {
        auto message = call(method, arguments);
        message.setAutoStartService(false);
        return message;
    }
};

/// Sends `message` without waiting and hands the reply or the error to `handler` later on this thread, unless
/// `context` is gone by then.
inline void send(const QDBusConnection& bus, const QDBusMessage& message, QObject* context,
    std::function<void(const QDBusMessage& reply)> handler) {
    if (!bus.isConnected()) { // Qt would never answer
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

/// The first value of a reply, taken out of the variant that properties and settings come in.
inline QVariant value(const QDBusMessage& reply) {
    QVariant first = reply.arguments().value(0);
    while (first.metaType() == QMetaType::fromType<QDBusVariant>())
        first = first.value<QDBusVariant>().variant();
    return first;
}

} // namespace tavro::dbus
