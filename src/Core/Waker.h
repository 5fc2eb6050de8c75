#pragma once

#include <memory>

namespace tavro {

/// Wakes a thread that waits for descriptors. Throws std::system_error when it gets none.
class Waker {
public:
    Waker();
    ~Waker();
    Waker(const Waker&) = delete;
    Waker& operator=(const Waker&) = delete;

    void wake();  ///< any thread
    void clear(); ///< the waiting thread, once awake
    int descriptor() const { return fd; }

private:
    const int fd;
};

} // namespace tavro
