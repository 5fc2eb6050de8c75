#include "Core/Waker.h"

#include <cerrno>
#include <cstdint>
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
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(fd, &one, sizeof one);
}

void Waker::clear() {
    std::uint64_t count = 0;
    [[maybe_unused]] const auto got = ::read(fd, &count, sizeof count);
}

} // namespace tavro
