#pragma once

#include <QString>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace tavro {

class CallbackListener;

/// The smallest HTTP/1.1 server that can receive a browser's redirect: on one port of the loopback addresses
/// it takes the query item "code" out of each request and answers every request with the same page. It serves
/// one sign-in attempt on a thread of its own; several clients at once, none for longer than its limit.
/// Started, stopped and destroyed on one thread.
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
    /// throws std::system_error when no listener can be made.
    int start(CodeHandler onCode);
    /// Closes the port. Connections already accepted finish on their own. Harmless when nothing runs.
    void stop();

    /// The code in the text of a request, percent-decoded; no value when there is none. Any thread.
    static std::optional<QString> extractCode(const QString& request);

private:
    const std::chrono::milliseconds limit;
    std::unique_ptr<CallbackListener> listener;
    std::unique_ptr<CallbackListener> stopped; // its last connections may still be open
};

} // namespace tavro
