#pragma once

#include <utility>

namespace tavro {

/// Owns a descriptor.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int number) : descriptor(number) {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(descriptor, other.descriptor);
        return *this;
    }
    ~FileDescriptor();

    int get() const { return descriptor; }
    explicit operator bool() const { return descriptor >= 0; }
    void reset() { *this = FileDescriptor(); }

private:
    int descriptor = -1;
};

/// Listening sockets on one port of both loopback addresses, for nobody outside this machine.
struct LoopbackSockets {
    FileDescriptor ipv4;
    FileDescriptor ipv6; ///< none where the system has no IPv6
    int port = 0;        ///< 0: the two families have no free port in common, for now

    /// Throws std::system_error.
    static LoopbackSockets open();
};

} // namespace tavro
