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

/// A WebSocket that sends text messages and reads none; the library answers pings and close frames. Use it on
/// one thread with an event loop. The destructor drops the connection without a close frame.
class LiveChannel {
public:
    /// Starts to connect; a failure shows in `send`. Pings every `keepAlive`: proxies and address translation
    /// drop idle connections, often after a minute.
    LiveChannel(const QNetworkRequest& request, std::chrono::milliseconds timeout,
        std::chrono::milliseconds keepAlive = std::chrono::seconds(25));
    ~LiveChannel();
    LiveChannel(const LiveChannel&) = delete;
    LiveChannel& operator=(const LiveChannel&) = delete;

    /// Waits until the system has taken the message. Fails after `timeout` without progress. Keeps the order
    /// of the calls. Throws PlatformError (domain "QWebSocket", code SocketError, the socket's text).
    static QCoro::Task<> send(std::shared_ptr<LiveChannel> channel, QString text);

    /// Closes the connection with code 1000 and no reason. Keep the channel until `isIdle()`.
    void close();

    /// Fails all waiting operations and drops the connection.
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
    std::optional<PlatformError> failure; // the first one; nothing can be sent after it
    bool closing = false;
};

} // namespace tavro
