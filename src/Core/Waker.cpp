#include "Core/Waker.h"

#include <cerrno>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace tavro {

Waker::Waker() : fd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (fd < 0)
        throw std::system_error(errno, std::generic_category(), "eventfd");
}

Waker::~Waker() {
    ::close(fd);
}

void Waker::wake() {
    ::eventfd_write(fd, 1);
}

void Waker::clear() {
    eventfd_t count = 0;
    ::eventfd_read(fd, &count);
}

} // namespace tavro
