#include "Core/Actor.h"

#include <QThreadPool>

#include <future>

namespace tavro {

Actor::Actor(const QString& label) {
    std::promise<std::shared_ptr<EventLoop>> started;
    auto ready = started.get_future();
    thread.setObjectName(label.right(15));
    // Runs on the new thread, before its event loop.
    QObject::connect(
        &thread, &QThread::started, &thread, [&] { started.set_value(EventLoop::current()); }, Qt::DirectConnection);
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
    // The mutex orders the two threads' memory in a way that the sanitizers see too.
    struct Job {
        std::mutex mutex;
        std::function<void()> work;
    };
    auto job = std::make_shared<Job>();
    {
        const std::lock_guard lock(job->mutex);
        job->work = std::move(work);
    }
    QThreadPool::globalInstance()->start([job] {
        std::function<void()> mine;
        {
            const std::lock_guard lock(job->mutex);
            mine = std::move(job->work);
        }
        mine();
    });
}

} // namespace detail

} // namespace tavro
