#pragma once

#include "Core/Errors.h"
#include "Core/Promise.h"

#include <QNetworkRequest>
#include <QTimer>
#include <QWebSocket>
#include <qcoro/qcorotask.h>

#include <chrono>
#include <deque>
#include <memory>
#include <optional>

namespace tavro {

/// A WebSocket on which text messages are sent and nothing is read; pings and close frames are answered by
/// the library underneath. Lives and works on one thread, which runs an event loop. Destroying it drops the
/// connection without a close frame.
class LiveChannel {
public:
    /// Starts to connect. What goes wrong shows when something is sent. Pings every `keepAlive`: what lies in
    /// between (proxies, address translation) forgets connections on which nothing is said, often after a
    /// minute.
    LiveChannel(const QNetworkRequest& request, std::chrono::milliseconds timeout,
        std::chrono::milliseconds keepAlive = std::chrono::seconds(25));
    ~LiveChannel();
    LiveChannel(const LiveChannel&) = delete;
    LiveChannel& operator=(const LiveChannel&) = delete;

    /// Waits until the connection stands and the message has been handed to the system, which must not stand
    /// still for longer than `timeout`. Messages go out in the order of the calls. Throws PlatformError
    /// (domain "QWebSocket", QAbstractSocket::SocketError, the socket's own text).
    static QCoro::Task<> send(std::shared_ptr<LiveChannel> channel, QString text);

    /// Closes the connection with code 1000 and no reason. Keep the channel until it `isIdle`.
    void close();

    /// Ends whatever waits with an error, and the connection.
    void cancel();

    bool isIdle() const; ///< neither sends nor closes: may be destroyed

private:
    struct Message {
        QString text;
        Promise<void> sent;
    };
    bool isOpen() const { return socket.state() == QAbstractSocket::ConnectedState; }
    void writeAll();
    void settleWritten();
    void fail(QAbstractSocket::SocketError code, const QString& text);

    QWebSocket socket;
    QTimer idle;
    QTimer ping;
    std::deque<Message> unsent;           // waiting for the handshake
    std::deque<Promise<void>> unwritten;  // in the socket's own buffer
    std::optional<PlatformError> failure; // the first one: why nothing can be sent any more
    bool closing = false;
};

} // namespace tavro
