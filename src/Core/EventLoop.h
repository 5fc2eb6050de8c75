#pragma once

#include <functional>
#include <memory>

namespace tavro {

/// Runs functions on the event loop of one thread, in the order posted. The way to hand work from any other
/// thread to the main thread or to an actor.
class EventLoop {
public:
    /// The calling thread's. Its functions run while that thread runs its event loop; those left when the
    /// thread ends are dropped.
    static std::shared_ptr<EventLoop> current();

    ~EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    void post(std::function<void()> work); ///< any thread; returns at once
    bool isCurrent() const;

private:
    struct Queue;
    struct Slot;
    EventLoop();

    std::shared_ptr<Queue> queue;
};

} // namespace tavro
