#pragma once

#include <QByteArray>

#include <optional>

namespace tavro::test {

/// A client of the callback server, as bare as a socket: it may be slow, silent or rude.
class CallbackClient {
public:
    enum class Family { ipv4, ipv6 };

    static bool hasIPv6(); ///< whether this machine has an IPv6 loopback address

    /// Connects; see `isConnected`.
    explicit CallbackClient(int port, Family family = Family::ipv4);
    CallbackClient(CallbackClient&& other) noexcept;
    ~CallbackClient();

    bool isConnected() const { return socket >= 0; }
    void send(const QByteArray& bytes);
    void finishSending();
    /// All that comes until the server ends the connection; no value when it is reset instead, or not ended
    /// for a minute.
    std::optional<QByteArray> receiveAll();
    /// Whether the server has ended the connection and nothing is left to receive.
    bool isEnded() const;

private:
    int socket = -1;
};

} // namespace tavro::test
