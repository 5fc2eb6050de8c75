#include "Core/SerialQueue.h"

#include <future>

namespace tavro {

SerialQueue::SerialQueue(const QString& label) {
    std::promise<std::shared_ptr<EventLoop>> started;
    auto ready = started.get_future();
    thread.setObjectName(label.right(15)); // the system's limit; labels differ at their end
    // Runs on the new thread, before its event loop.
    QObject::connect(
        &thread, &QThread::started, &thread, [&] { started.set_value(EventLoop::current()); },
        Qt::DirectConnection);
    thread.start();
    loop = ready.get();
    QObject::disconnect(&thread, &QThread::started, nullptr, nullptr);
}

// Waits for the last function too: ThreadSanitizer sees that wait, but not the one inside Qt. Qt wakes a
// thread after it has queued the function, so the thread must not end before that.
SerialQueue::~SerialQueue() {
    std::promise<void> posted, done;
    async([&] {
        posted.get_future().wait();
        QThread::currentThread()->quit();
        done.set_value();
    });
    posted.set_value();
    done.get_future().wait();
    thread.wait();
}

void SerialQueue::sync(const Work& work) {
    Q_ASSERT(!isCurrent());
    std::promise<void> done;
    async([&] {
        work();
        done.set_value();
    });
    done.get_future().wait();
}

} // namespace tavro
