#pragma once

#include <QByteArray>

#include <optional>

namespace tavro::test {

/// A raw socket client of the callback server: may be slow, silent or incorrect.
class CallbackClient {
public:
    enum class Family { ipv4, ipv6 };

    static bool hasIPv6(); ///< whether this machine has an IPv6 loopback address

    explicit CallbackClient(int port, Family family = Family::ipv4);
    CallbackClient(CallbackClient&& other) noexcept;
    ~CallbackClient();

    bool isConnected() const { return socket >= 0; }
    void send(const QByteArray& bytes);
    void finishSending();
    /// All bytes until the server ends the connection. No value after a reset or a minute.
    std::optional<QByteArray> receiveAll();
    /// True when the server has ended the connection and no data is left.
    bool isEnded() const;

private:
    int socket = -1;
};

} // namespace tavro::test
