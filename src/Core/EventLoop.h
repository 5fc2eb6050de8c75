#pragma once

#include <functional>
#include <memory>

namespace tavro {

/// Posts functions to the event loop of one thread, in order.
///
/// The functions travel as ordinary Qt events. QMetaObject::invokeMethod would do, but ThreadSanitizer sees
/// no lock inside Qt and reports each function so carried as a race (tried with Qt 6.4). Here a mutex of ours
/// orders the memory of the two threads.
class EventLoop {
public:
    using Work = std::function<void()>;

    /// The loop of the calling thread. Functions that are left when the thread ends are dropped.
    static std::shared_ptr<EventLoop> current();

    ~EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    void post(Work work); ///< any thread; returns at once
    bool isCurrent() const;

private:
    struct Queue;
    struct Slot;
    EventLoop();

    const std::shared_ptr<Queue> queue;
};

} // namespace tavro
