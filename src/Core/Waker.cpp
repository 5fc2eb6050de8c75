#include "Core/Waker.h"

#include <cerrno>
#include <sys/eventfd.h>
#include <system_error>

namespace tavro {

Waker::Waker() : fd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!fd)
        throw std::system_error(errno, std::generic_category(), "eventfd");
}

void Waker::wake() {
    ::eventfd_write(fd.get(), 1);
}

void Waker::clear() {
    eventfd_t count = 0;
    ::eventfd_read(fd.get(), &count);
}

} // namespace tavro
