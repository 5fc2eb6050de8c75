#include "Core/RepeatingTimer.h"

#include <atomic>
#include <utility>

namespace tavro {

struct RepeatingTimer::State {
    SerialQueue& queue;
    const std::chrono::milliseconds interval;
    const std::function<void()> handler;
    SerialQueue::Clock::time_point deadline;
    std::atomic<bool> cancelled = false;
};

RepeatingTimer::RepeatingTimer(
    SerialQueue& queue, std::chrono::milliseconds interval, std::function<void()> handler)
    : state(new State{queue, interval, std::move(handler), SerialQueue::Clock::now() + interval}) {
    schedule(state);
}

RepeatingTimer::~RepeatingTimer() {
    state->cancelled = true;
}

void RepeatingTimer::schedule(const std::shared_ptr<State>& state) {
    state->queue.at(state->deadline, [state] {
        if (state->cancelled)
            return;
        state->handler();
        const auto now = SerialQueue::Clock::now();
        do
            state->deadline += state->interval;
        while (state->deadline <= now);
        schedule(state);
    });
}

} // namespace tavro
