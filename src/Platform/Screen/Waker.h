#pragma once

#include <memory>

namespace tavro {

/// Wakes a thread that waits for descriptors with `poll`.
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
