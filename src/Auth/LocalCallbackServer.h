#pragma once

#include <QByteArray>
#include <QString>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QTcpServer;

namespace tavro {

class SerialQueue;

/// A minimal HTTP/1.1 server for a browser's redirect, on one port of both loopback addresses. Reads the
/// query item "code" of each request, always answers with the same page. Serves one sign-in attempt and up to
/// 64 clients at once on its own thread, "callback-server". Start, stop and destroy it on one other thread.
class LocalCallbackServer {
public:
    /// Called on the server's thread, once for each request that carries a code.
    using CodeHandler = std::function<void(const QString& code)>;

    /// `limit`: how long one connection may last.
    explicit LocalCallbackServer(std::chrono::milliseconds limit = std::chrono::seconds(10));
    ~LocalCallbackServer(); ///< stops and cuts open connections
    LocalCallbackServer(const LocalCallbackServer&) = delete;
    LocalCallbackServer& operator=(const LocalCallbackServer&) = delete;

    /// Returns the port. Blocks for up to 3 s while no port is free, then throws AuthError. Throws
    /// std::system_error without a free descriptor, PlatformError when listening fails.
    int start(const CodeHandler& onCode);
    /// Closes the port; accepted connections finish. Does nothing when not started.
    void stop();

    /// The percent-decoded code in the text of a request, if any. Any thread.
    static std::optional<QString> extractCode(const QString& request);
    /// The same for the first bytes of a request; no value when they end within the first line.
    static std::optional<QString> extractCode(QByteArrayView received);
    /// The answer to every request: status line, headers and a self-contained page.
    static QByteArray response();

private:
    class Connection;
    int listen(const CodeHandler& onCode);
    void serve(int accepted, const CodeHandler& onCode);

    const std::chrono::milliseconds limit;
    std::vector<std::unique_ptr<QTcpServer>> listeners; // this and the next: used on the server's thread
    std::vector<std::unique_ptr<Connection>> connections;
    std::unique_ptr<SerialQueue> thread; // last: joined before the members above are destroyed
};

} // namespace tavro
