#pragma once

#include <memory>

namespace tavro {

/// Wakes a thread that waits for descriptors, or an event loop through a QSocketNotifier. Throws
/// std::system_error when the system has no descriptor left.
class Waker {
public:
    Waker();
    ~Waker();
    Waker(const Waker&) = delete;
    Waker& operator=(const Waker&) = delete;

    void wake();  ///< any thread, any signal handler
    void clear(); ///< the waiting thread, once awake
    int descriptor() const { return fd; }

private:
    const int fd;
};

} // namespace tavro
