#pragma once

#include "Core/SerialQueue.h"

#include <functional>
#include <memory>

namespace tavro {

/// Calls a handler on a serial queue at a fixed interval, the first time one interval from now. Deadlines do
/// not drift; those that passed while the queue was busy are skipped. Destroying the timer ends it: no call
/// starts afterwards, except one already under way on the queue.
class RepeatingTimer {
public:
    /// `queue` outlives the timer.
    RepeatingTimer(SerialQueue& queue, std::chrono::milliseconds interval, std::function<void()> handler);
    ~RepeatingTimer();
    RepeatingTimer(const RepeatingTimer&) = delete;
    RepeatingTimer& operator=(const RepeatingTimer&) = delete;

private:
    struct State;
    static void schedule(const std::shared_ptr<State>& state);

    std::shared_ptr<State> state;
};

} // namespace tavro
