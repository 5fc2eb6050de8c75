#include "CallbackClient.h"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>
#include <utility>

namespace tavro::test {

namespace {

template <class Address>
int connectTo(int family, const Address& address) {
    const int socket = ::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval patience{60, 0};
    ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return socket;
    ::close(socket);
    return -1;
}

} // namespace

bool CallbackClient::hasIPv6() {
    sockaddr_in6 any{};
    any.sin6_family = AF_INET6;
    any.sin6_addr = in6addr_loopback;
    const int socket = ::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool bound =
        socket >= 0 && ::bind(socket, reinterpret_cast<const sockaddr*>(&any), sizeof any) == 0;
    ::close(socket);
    return bound;
}

CallbackClient::CallbackClient(int port, Family family) {
    const auto number = htons(static_cast<std::uint16_t>(port));
    if (family == Family::ipv4) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = number;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socket = connectTo(AF_INET, address);
    } else {
        sockaddr_in6 address{};
        address.sin6_family = AF_INET6;
        address.sin6_port = number;
        address.sin6_addr = in6addr_loopback;
        socket = connectTo(AF_INET6, address);
    }
}

CallbackClient::CallbackClient(CallbackClient&& other) noexcept : socket(std::exchange(other.socket, -1)) {}

CallbackClient::~CallbackClient() {
    if (socket >= 0)
        ::close(socket);
}

void CallbackClient::send(const QByteArray& bytes) {
    qsizetype sent = 0;
    while (sent < bytes.size()) {
        const auto size = ::send(
            socket, bytes.constData() + sent, static_cast<std::size_t>(bytes.size() - sent), MSG_NOSIGNAL);
        if (size <= 0)
            return; // the server closed the connection
        sent += size;
    }
}

void CallbackClient::finishSending() {
    ::shutdown(socket, SHUT_WR);
}

std::optional<QByteArray> CallbackClient::receiveAll() {
    QByteArray all;
    std::array<char, 4096> buffer;
    for (;;) {
        const auto size = ::recv(socket, buffer.data(), buffer.size(), 0);
        if (size == 0)
            return all;
        if (size < 0)
            return std::nullopt;
        all.append(buffer.data(), size);
    }
}

bool CallbackClient::isEnded() const {
    char byte = 0;
    const auto size = ::recv(socket, &byte, 1, MSG_DONTWAIT | MSG_PEEK);
    return size == 0 || (size < 0 && errno != EAGAIN);
}

} // namespace tavro::test
