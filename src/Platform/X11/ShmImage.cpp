#include "Platform/X11/ShmImage.h"

#include "Core/Errors.h"

#include <cerrno>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

namespace tavro {
namespace {

PlatformError noSharedMemory(const QString& why) {
    return PlatformError(
        QStringLiteral("Tavro.X11"), 4, QStringLiteral("No memory shared with the X server: ") + why);
}

} // namespace

ShmImage::ShmImage(X11Connection& x, std::size_t bytes) : connection(x), length(bytes) {
    const int file = ::memfd_create("tavro-screen", MFD_CLOEXEC);
    void* mapped = MAP_FAILED;
    if (file >= 0 && ::ftruncate(file, static_cast<off_t>(length)) == 0)
        mapped = ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (mapped == MAP_FAILED) {
        const QString why = QString::fromLocal8Bit(std::strerror(errno));
        ::close(file);
        throw noSharedMemory(why);
    }
    memory = static_cast<std::uint8_t*>(mapped);
    id = xcb_generate_id(connection);
    const auto attached = xcb_shm_attach_fd_checked(connection, id, file, 0); // takes the descriptor
    const bool answered = connection.roundTrip(); // xcb_request_check alone waits without a limit
    if (!answered)
        xcb_discard_reply(connection, attached.sequence);
    const XcbHandle<xcb_generic_error_t> error(answered ? xcb_request_check(connection, attached) : nullptr);
    if (error || !answered) {
        ::munmap(memory, length);
        throw noSharedMemory(answered ? QStringLiteral("the server refused it; it must run on this machine")
                                      : QStringLiteral("the server does not answer"));
    }
}

ShmImage::~ShmImage() {
    xcb_shm_detach(connection, id);
    ::munmap(memory, length);
}

void ShmImage::forget() {
    ::madvise(memory, length, MADV_REMOVE);
}

} // namespace tavro
