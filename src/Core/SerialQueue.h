#pragma once

#include <QString>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace tavro {

/// One worker thread that runs functions one at a time, in the order in which they were submitted.
/// The destructor drops what is delayed, runs what is queued, and joins.
class SerialQueue {
public:
    using Clock = std::chrono::steady_clock;
    using Work = std::function<void()>;

    /// `niceness`: added to the thread's scheduling niceness (0 to 19), for work that must not disturb
    /// the user's programs.
    explicit SerialQueue(QString label, int niceness = 0);
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    const QString& label() const { return name; }
    bool isCurrent() const; ///< whether the caller runs on this queue

    void async(Work work);                      ///< returns at once
    void sync(const Work& work);                ///< waits until `work` has run; never from the queue itself
    void at(Clock::time_point when, Work work); ///< runs not before `when`

private:
    void run(int niceness);

    const QString name;
    std::mutex mutex;
    std::condition_variable wake;
    std::deque<Work> ready;
    std::multimap<Clock::time_point, Work> delayed;
    bool stopping = false;
    std::thread thread; // last: it uses all of the above
};

} // namespace tavro
