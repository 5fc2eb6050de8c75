#include "Platform/X11/ServerProbe.h"

#include "Core/FileDescriptor.h"
#include "Platform/Xcb/XcbHandles.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <xcb/xcb.h>

namespace tavro {
namespace {

// Empty for a server that is not on this machine.
std::string socketPathOf(const QByteArray& display) {
    char* host = nullptr;
    int number = 0;
    if (!xcb_parse_display(display.isEmpty() ? nullptr : display.constData(), &host, &number, nullptr))
        return {};
    const std::unique_ptr<char, FreeMemory> owned(host);
    if (*host != '\0' && std::strcmp(host, "unix") != 0)
        return {};
    return "/tmp/.X11-unix/X" + std::to_string(number);
}

} // namespace

bool reactsWithin(std::chrono::milliseconds limit, const QByteArray& display) {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    const std::string path = socketPathOf(display);
    if (path.empty() || path.size() >= sizeof address.sun_path)
        return true;
    std::memcpy(address.sun_path, path.data(), path.size());
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return errno != EAGAIN; // others wait to be taken already
    // A client names its byte order first. The server closes the connection of one that names none.
    constexpr std::array<char, 12> withoutByteOrder{};
    ::send(socket.get(), withoutByteOrder.data(), withoutByteOrder.size(), MSG_NOSIGNAL);
    pollfd closed{socket.get(), POLLIN, 0};
    return ::poll(&closed, 1, static_cast<int>(limit.count())) != 0;
}

bool acceptsClients(std::chrono::milliseconds limit, const QByteArray& display) {
    if (!reactsWithin(limit, display))
        return false;
    const std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> connection(
        xcb_connect(display.isEmpty() ? nullptr : display.constData(), nullptr), &xcb_disconnect);
    return !xcb_connection_has_error(connection.get());
}

} // namespace tavro
