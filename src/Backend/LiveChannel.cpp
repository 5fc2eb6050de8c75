#include "Backend/LiveChannel.h"

#include "Backend/Proxy.h"

#include <QCoreApplication>
#include <QSslSocket>

#include <utility>

namespace tavro {

namespace {

Cause causeOf(QAbstractSocket::SocketError code) {
    switch (code) {
    case QAbstractSocket::ConnectionRefusedError: // also when the service answers without a WebSocket
        return {Cause::liveEventsRefused};
    case QAbstractSocket::HostNotFoundError:
    case QAbstractSocket::NetworkError:
    case QAbstractSocket::ProxyConnectionRefusedError:
    case QAbstractSocket::ProxyNotFoundError:
        return {Cause::serviceUnreachable};
    case QAbstractSocket::RemoteHostClosedError:
        return {Cause::connectionLost};
    case QAbstractSocket::SocketTimeoutError:
        return {Cause::serviceSilent};
    case QAbstractSocket::SslHandshakeFailedError:
        return {Cause::serviceUntrusted};
    default:
        return {};
    }
}

} // namespace

LiveChannel::LiveChannel(
    const QNetworkRequest& request, std::chrono::milliseconds timeout, std::chrono::milliseconds keepAlive) {
    idle.setSingleShot(true);
    idle.setInterval(timeout);
    QObject::connect(&idle, &QTimer::timeout, &socket, [this] {
        fail(QAbstractSocket::SocketTimeoutError,
            QCoreApplication::translate("QAbstractSocket", "Socket operation timed out"));
        socket.abort();
    });
    QObject::connect(&socket, &QWebSocket::connected, &socket, [this] {
        idle.stop();
        ping.start();
        writeAll();
    });
    ping.setInterval(keepAlive);
    QObject::connect(&ping, &QTimer::timeout, &socket, [this] { socket.ping(); });
    QObject::connect(&socket, &QWebSocket::bytesWritten, &socket, [this] { settleWritten(); });
    QObject::connect(&socket, qOverload<QAbstractSocket::SocketError>(&QWebSocket::error), &socket,
        [this](QAbstractSocket::SocketError error) { fail(error, socket.errorString()); });
    QObject::connect(&socket, &QWebSocket::disconnected, &socket, [this] {
        // This signal precedes the error signal. There is no error when the peer closed the channel.
        if (socket.error() != QAbstractSocket::UnknownSocketError)
            fail(socket.error(), socket.errorString());
        else
            fail(QAbstractSocket::RemoteHostClosedError,
                QCoreApplication::translate("QAbstractSocket", "The remote host closed the connection"));
    });
    idle.start();
    socket.setProxy(proxyFor(request.url()));
    socket.open(request);
}

LiveChannel::~LiveChannel() {
    socket.disconnect();
    socket.abort();
}

QCoro::Task<> LiveChannel::send(std::shared_ptr<LiveChannel> channel, QString text) {
    if (channel->failure)
        throw *channel->failure;
    const Message message{text, {}};
    channel->unsent.push_back(message);
    if (channel->isOpen())
        channel->writeAll();
    co_await message.sent;
}

void LiveChannel::writeAll() {
    while (!unsent.empty() && !failure) {
        const Message message = std::move(unsent.front());
        unsent.pop_front();
        unwritten.push_back(message.sent);
        if (!idle.isActive())
            idle.start();
        socket.sendTextMessage(message.text);
        socket.flush();
    }
    settleWritten();
}

void LiveChannel::settleWritten() {
    if (!isOpen())
        return;
    const auto* tls = socket.findChild<QSslSocket*>();
    if (socket.bytesToWrite() > 0 || (tls && tls->encryptedBytesToWrite() > 0)) {
        idle.start();
        return;
    }
    idle.stop();
    for (const Promise<void>& written : std::exchange(unwritten, {}))
        written.resolve();
}

void LiveChannel::fail(QAbstractSocket::SocketError code, const QString& text) {
    if (!failure)
        failure = PlatformError(QStringLiteral("QWebSocket"), code, text, causeOf(code));
    idle.stop();
    ping.stop();
    const auto error = std::make_exception_ptr(*failure);
    for (const Message& message : std::exchange(unsent, {}))
        message.sent.reject(error);
    for (const Promise<void>& written : std::exchange(unwritten, {}))
        written.reject(error);
}

void LiveChannel::close() {
    if (!isOpen() || failure) {
        cancel();
        return;
    }
    closing = true;
    ping.stop();
    idle.start();
    socket.close(QWebSocketProtocol::CloseCodeNormal);
}

bool LiveChannel::isIdle() const {
    const bool isDown = socket.state() == QAbstractSocket::UnconnectedState;
    return unsent.empty() && unwritten.empty() && (isDown || !closing);
}

void LiveChannel::cancel() {
    fail(QAbstractSocket::OperationError, QCoreApplication::translate("QNetworkReply", "Operation canceled"));
    socket.abort();
}

} // namespace tavro
