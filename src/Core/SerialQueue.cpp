#include "Core/SerialQueue.h"

#include <QtGlobal>

#include <future>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>

namespace tavro {

SerialQueue::SerialQueue(QString label, int niceness)
    : name(std::move(label))
    , thread([this, niceness] { run(niceness); }) {}

SerialQueue::~SerialQueue() {
    Q_ASSERT(!isCurrent());
    {
        const std::lock_guard lock(mutex);
        stopping = true;
    }
    wake.notify_one();
    thread.join();
}

bool SerialQueue::isCurrent() const {
    return thread.get_id() == std::this_thread::get_id();
}

void SerialQueue::async(Work work) {
    {
        const std::lock_guard lock(mutex);
        ready.push_back(std::move(work));
    }
    wake.notify_one();
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

void SerialQueue::at(Clock::time_point when, Work work) {
    {
        const std::lock_guard lock(mutex);
        delayed.emplace(when, std::move(work));
    }
    wake.notify_one();
}

void SerialQueue::run(int niceness) {
    // A thread's name has at most 15 characters; the end of a label is what tells it from others.
    pthread_setname_np(pthread_self(), name.right(15).toLatin1().constData());
    if (niceness > 0)
        setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), niceness);

    std::unique_lock lock(mutex);
    for (;;) {
        const auto now = Clock::now();
        while (!delayed.empty() && delayed.begin()->first <= now)
            ready.push_back(std::move(delayed.extract(delayed.begin()).mapped()));
        if (!ready.empty()) {
            const Work work = std::move(ready.front());
            ready.pop_front();
            lock.unlock();
            work();
            lock.lock();
        } else if (stopping) {
            return;
        } else if (delayed.empty()) {
            wake.wait(lock);
        } else {
            const auto next = delayed.begin()->first; // a copy: the entry may go while we wait
            wake.wait_until(lock, next);
        }
    }
}

} // namespace tavro
