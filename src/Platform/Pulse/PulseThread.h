#pragma once

#include "Core/Waker.h"
#include "PulseHandles.h"

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace tavro::pulse {

/// The one thread that uses libpulse: its main loop, callbacks and posted work. So it needs no lock.
class PulseThread {
public:
    using Clock = std::chrono::steady_clock;
    using Work = std::function<void()>;

    PulseThread();
    ~PulseThread(); ///< runs what was posted, drops what is delayed, joins
    PulseThread(const PulseThread&) = delete;
    PulseThread& operator=(const PulseThread&) = delete;

    void post(Work work);        ///< any thread; returns at once
    void sync(const Work& work); ///< any other thread; waits until `work` has run

    // On this thread only:
    pa_mainloop_api* api() const { return pa_mainloop_get_api(loop.get()); }
    void at(Clock::time_point when, Work work);
    void after(std::chrono::milliseconds delay, Work work) { at(Clock::now() + delay, std::move(work)); }

private:
    void run();
    bool runPosted(); ///< false when the thread is to end
    void runDue();
    int timeout() const; ///< microseconds until the next delayed work, -1 for none

    Waker waker; // pa_mainloop_wakeup() is lost while the loop prepares to wait
    MainLoop loop;
    std::multimap<Clock::time_point, Work> delayed; // used on the thread only
    std::mutex mutex;
    std::vector<Work> posted;
    bool stopping = false;
    std::thread thread; // last: it uses all of the above
};

} // namespace tavro::pulse
