#include "Core/Actor.h"

#include <QThreadPool>

#include <deque>
#include <functional>
#include <future>
#include <mutex>

namespace tavro {

Actor::Actor(const QString& label) {
    std::promise<std::shared_ptr<EventLoop>> started;
    auto ready = started.get_future();
    thread.setObjectName(label.right(15));
    // Runs on the new thread, before its event loop.
    QObject::connect(
        &thread, &QThread::started, &thread, [&] { started.set_value(EventLoop::current()); },
        Qt::DirectConnection);
    thread.start();
    loop = ready.get();
    QObject::disconnect(&thread, &QThread::started, nullptr, nullptr);
}

Actor::~Actor() {
    Q_ASSERT(!isCurrent());
    thread.quit();
    thread.wait();
}

void Actor::sync(const std::function<void()>& work) {
    Q_ASSERT(!isCurrent());
    std::promise<void> done;
    loop->post([&] {
        work();
        done.set_value();
    });
    done.get_future().wait();
}

namespace detail {

void startInBackground(std::function<void()> work) {
    // The jobs wait in a queue of our own, whose mutex orders the two threads' memory in a way that the
    // sanitizers see; the pool is told only that there is one more.
    struct Jobs {
        std::mutex mutex;
        std::deque<std::function<void()>> waiting;
    };
    static Jobs jobs;
    {
        const std::lock_guard lock(jobs.mutex);
        jobs.waiting.push_back(std::move(work));
    }
    QThreadPool::globalInstance()->start([] {
        std::function<void()> next;
        {
            const std::lock_guard lock(jobs.mutex);
            next = std::move(jobs.waiting.front());
            jobs.waiting.pop_front();
        }
        next();
    });
}

} // namespace detail

} // namespace tavro
