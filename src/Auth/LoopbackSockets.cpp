#include "Auth/LoopbackSockets.h"

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace tavro {

namespace {

[[noreturn]] void throwErrno(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

FileDescriptor makeSocket(int family) {
    return FileDescriptor(::socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

template <class Address>
bool bindTo(const FileDescriptor& socket, const Address& address) {
    return ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

} // namespace

FileDescriptor::~FileDescriptor() {
    if (descriptor >= 0)
        ::close(descriptor);
}

LoopbackSockets LoopbackSockets::open() {
    LoopbackSockets sockets;
    sockets.ipv4 = makeSocket(AF_INET);
    if (!sockets.ipv4)
        throwErrno("socket");
    sockaddr_in address4{};
    address4.sin_family = AF_INET;
    address4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address4;
    if (!bindTo(sockets.ipv4, address4) || ::listen(sockets.ipv4.get(), SOMAXCONN) != 0 ||
        ::getsockname(sockets.ipv4.get(), reinterpret_cast<sockaddr*>(&address4), &size) != 0)
        throwErrno("127.0.0.1");

    // Browsers take "localhost" to mean either family.
    sockets.ipv6 = makeSocket(AF_INET6);
    sockaddr_in6 address6{};
    address6.sin6_family = AF_INET6;
    address6.sin6_addr = in6addr_loopback;
    address6.sin6_port = address4.sin_port;
    if (!sockets.ipv6) {
        if (errno != EAFNOSUPPORT)
            throwErrno("socket");
    } else if (!bindTo(sockets.ipv6, address6) || ::listen(sockets.ipv6.get(), SOMAXCONN) != 0) {
        if (errno == EADDRINUSE)
            return {};
        if (errno != EADDRNOTAVAIL)
            throwErrno("::1");
        sockets.ipv6.reset();
    }
    sockets.port = ntohs(address4.sin_port);
    return sockets;
}

} // namespace tavro
