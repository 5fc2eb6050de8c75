#pragma once

#include <functional>
#include <memory>

namespace tavro {

/// Posts functions to the event loop of one thread, in order. An atomic orders the memory of the two threads:
/// ThreadSanitizer sees no lock inside Qt 6.4 and reports QMetaObject::invokeMethod as a race.
class EventLoop {
public:
    using Work = std::function<void()>;

    /// The loop of the calling thread. The thread's end drops the remaining functions.
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
