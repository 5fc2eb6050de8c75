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

/// The smallest HTTP/1.1 server that can receive a browser's redirect: on one port of the loopback addresses
/// it takes the query item "code" out of each request and answers every request with the same page. It serves
/// one sign-in attempt on a thread of its own, "callback-server": up to 64 clients at a time, none for longer
/// than its limit. Started, stopped and destroyed on one other thread.
class LocalCallbackServer {
public:
    /// Called on the server's thread, once for each request that carries a code.
    using CodeHandler = std::function<void(const QString& code)>;

    /// `limit`: how long one connection may last.
    explicit LocalCallbackServer(std::chrono::milliseconds limit = std::chrono::seconds(10));
    ~LocalCallbackServer(); ///< stops, and cuts the connections that are still open
    LocalCallbackServer(const LocalCallbackServer&) = delete;
    LocalCallbackServer& operator=(const LocalCallbackServer&) = delete;

    /// Returns the port. Blocks for up to 3 s when the system has none to give, and then throws AuthError;
    /// throws std::system_error when descriptors are short, PlatformError when the addresses cannot be had.
    int start(CodeHandler onCode);
    /// Closes the port. Connections already accepted finish on their own. Harmless when nothing runs.
    void stop();

    /// The code in the text of a request, percent-decoded; no value when there is none. Any thread.
    static std::optional<QString> extractCode(const QString& request);
    /// The same of the bytes that came first; no value either when they break off within the first line.
    static std::optional<QString> extractCode(QByteArrayView received);
    /// The whole answer to any request: status line, headers and a page that needs nothing from outside.
    static QByteArray response();

private:
    class Connection;
    int listen(const CodeHandler& onCode);
    void serve(int accepted, const CodeHandler& onCode);

    const std::chrono::milliseconds limit;
    std::vector<std::unique_ptr<QTcpServer>> listeners; // this and the next: touched on the server's thread
    std::vector<std::unique_ptr<Connection>> connections;
    std::unique_ptr<SerialQueue> thread; // last: gone before what runs on it
};

} // namespace tavro
