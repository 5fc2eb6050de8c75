#include "Core/EventLoop.h"

#include <QSocketNotifier>

#include <cerrno>
#include <cstdint>
#include <deque>
#include <mutex>
#include <sys/eventfd.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

namespace tavro {

// The functions wait in a queue of our own, and a descriptor that counts them wakes the thread's event loop:
// nothing of ours travels through the toolkit's event queue, whose locks the sanitizers cannot see.
struct EventLoop::Queue {
    std::mutex mutex;
    std::deque<std::function<void()>> work;
    bool open = true; // until the thread ends
    const std::thread::id thread = std::this_thread::get_id();
    const int counter = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE);

    Queue() {
        if (counter < 0)
            throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    ~Queue() { ::close(counter); }

    void runOne() {
        std::uint64_t one = 0;
        if (::read(counter, &one, sizeof one) != sizeof one)
            return;
        std::function<void()> function;
        {
            const std::lock_guard lock(mutex);
            function = std::move(work.front());
            work.pop_front();
        }
        function(); // may run an event loop of its own, where the functions after it run
    }
};

// The thread's end of the queue.
struct EventLoop::Slot {
    const std::shared_ptr<EventLoop> loop{new EventLoop};
    QSocketNotifier notifier{loop->queue->counter, QSocketNotifier::Read};

    Slot() {
        QObject::connect(&notifier, &QSocketNotifier::activated, &notifier,
            [queue = loop->queue.get()] { queue->runOne(); });
    }
    ~Slot() {
        std::deque<std::function<void()>> dropped; // destroyed after the lock is gone: they may hold anything
        {
            const std::lock_guard lock(loop->queue->mutex);
            loop->queue->open = false;
            dropped.swap(loop->queue->work);
        }
    }
};

EventLoop::EventLoop() : queue(std::make_shared<Queue>()) {}

EventLoop::~EventLoop() = default;

std::shared_ptr<EventLoop> EventLoop::current() {
    thread_local Slot slot;
    return slot.loop;
}

void EventLoop::post(std::function<void()> work) {
    const std::lock_guard lock(queue->mutex);
    if (!queue->open)
        return;
    queue->work.push_back(std::move(work));
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(queue->counter, &one, sizeof one);
}

bool EventLoop::isCurrent() const {
    return queue->thread == std::this_thread::get_id();
}

} // namespace tavro
