#pragma once

#include <unistd.h>
#include <utility>

namespace tavro {

/// Owns an open file descriptor, or none.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int open) : fd(open) {} ///< none when negative
    FileDescriptor(FileDescriptor&& other) noexcept : fd(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(fd, other.fd);
        return *this;
    }
    ~FileDescriptor() {
        if (fd >= 0)
            ::close(fd);
    }

    int get() const { return fd; } ///< negative when there is none
    explicit operator bool() const { return fd >= 0; }
    [[nodiscard]] int release() { return std::exchange(fd, -1); }

private:
    int fd = -1;
};

} // namespace tavro
