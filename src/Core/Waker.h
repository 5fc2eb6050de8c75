#pragma once

#include "Core/FileDescriptor.h"

namespace tavro {

/// Wakes a thread that polls descriptors, or an event loop through a QSocketNotifier. Throws
/// std::system_error without a free descriptor.
class Waker {
public:
    Waker();
    Waker(const Waker&) = delete;
    Waker& operator=(const Waker&) = delete;

    void wake();  ///< any thread, any signal handler
    void clear(); ///< for the waiting thread, after it woke
    int descriptor() const { return fd.get(); }

private:
    const FileDescriptor fd;
};

} // namespace tavro
