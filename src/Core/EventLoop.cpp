#include "Core/EventLoop.h"

#include <QCoreApplication>
#include <QEvent>

#include <atomic>
#include <mutex>
#include <thread>
#include <utility>

namespace tavro {

namespace {

class WorkEvent final : public QEvent {
public:
    explicit WorkEvent(EventLoop::Work function) : QEvent(User), work(std::move(function)) {}

    const EventLoop::Work work;
};

} // namespace

struct EventLoop::Queue {
    std::mutex mutex;
    QObject* receiver = nullptr; // null once the thread has ended
    std::atomic<unsigned> posted = 0;
    const std::thread::id thread = std::this_thread::get_id();
};

// Lives on the loop's thread.
struct EventLoop::Slot final : QObject {
    const std::shared_ptr<EventLoop> loop{new EventLoop};

    Slot() { setReceiver(this); }
    ~Slot() override { setReceiver(nullptr); } // not before a `post` under way has ended

    void setReceiver(QObject* receiver) const {
        const std::lock_guard lock(loop->queue->mutex);
        loop->queue->receiver = receiver;
    }

    bool event(QEvent* event) override {
        // From here this thread sees all that the posting threads wrote before.
        loop->queue->posted.load(std::memory_order_acquire);
        if (event->type() != QEvent::User)
            return QObject::event(event);
        static_cast<WorkEvent*>(event)->work();
        return true;
    }
};

EventLoop::EventLoop() : queue(std::make_shared<Queue>()) {}

EventLoop::~EventLoop() = default;

std::shared_ptr<EventLoop> EventLoop::current() {
    thread_local Slot slot;
    return slot.loop;
}

void EventLoop::post(Work work) {
    auto event = std::make_unique<WorkEvent>(std::move(work)); // destroyed outside the lock when not posted
    queue->posted.fetch_add(1, std::memory_order_release);
    const std::lock_guard lock(queue->mutex);
    if (queue->receiver)
        QCoreApplication::postEvent(queue->receiver, event.release());
}

bool EventLoop::isCurrent() const {
    return queue->thread == std::this_thread::get_id();
}

} // namespace tavro
