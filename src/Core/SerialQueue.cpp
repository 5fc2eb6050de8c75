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

SerialQueue::~SerialQueue() {
    // Waits for the last function too: ThreadSanitizer sees that wait, but not the one inside Qt.
    sync([] { QThread::currentThread()->quit(); });
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
