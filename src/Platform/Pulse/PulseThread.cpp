#include "PulseThread.h"

#include <algorithm>
#include <condition_variable>
#include <new>
#include <pthread.h>

namespace tavro::pulse {

namespace {

void awake(pa_mainloop_api*, pa_io_event*, int, pa_io_event_flags_t, void* waker) {
    static_cast<Waker*>(waker)->clear();
}

} // namespace

PulseThread::PulseThread() : loop(pa_mainloop_new()) {
    if (!loop)
        throw std::bad_alloc();
    api()->io_new(api(), waker.descriptor(), PA_IO_EVENT_INPUT, awake, &waker); // freed with the loop
    thread = std::thread([this] { run(); });
}

PulseThread::~PulseThread() {
    {
        const std::lock_guard lock(mutex);
        stopping = true;
    }
    waker.wake();
    thread.join();
}

void PulseThread::post(Work work) {
    {
        const std::lock_guard lock(mutex);
        posted.push_back(std::move(work));
    }
    waker.wake();
}

void PulseThread::sync(const Work& work) {
    std::mutex waiting;
    std::condition_variable ran;
    bool done = false;
    post([&] {
        work();
        const std::lock_guard lock(waiting);
        done = true;
        ran.notify_one(); // under the lock: the caller destroys `ran` afterwards
    });
    std::unique_lock lock(waiting);
    ran.wait(lock, [&] { return done; });
}

void PulseThread::at(Clock::time_point when, Work work) {
    delayed.emplace(when, std::move(work));
}

void PulseThread::run() {
    pthread_setname_np(pthread_self(), "sound server");
    while (runPosted()) {
        runDue();
        if (pa_mainloop_prepare(loop.get(), timeout()) < 0)
            break;
        if (pa_mainloop_poll(loop.get()) < 0)
            break;
        pa_mainloop_dispatch(loop.get());
    }
    delayed.clear();
}

bool PulseThread::runPosted() {
    std::vector<Work> work;
    bool end = false;
    {
        const std::lock_guard lock(mutex);
        work.swap(posted);
        end = stopping;
    }
    for (const Work& each : work)
        each();
    return !end;
}

void PulseThread::runDue() {
    const auto now = Clock::now();
    while (!delayed.empty() && delayed.begin()->first <= now) {
        const auto due = delayed.extract(delayed.begin());
        due.mapped()();
    }
}

int PulseThread::timeout() const {
    if (delayed.empty())
        return -1;
    const auto left =
        std::chrono::ceil<std::chrono::microseconds>(delayed.begin()->first - Clock::now()).count();
    return static_cast<int>(std::clamp<decltype(left)>(left, 0, 1'000'000'000));
}

} // namespace tavro::pulse
