#pragma once

#include "Core/Promise.h"

#include <QString>
#include <QThread>
#include <qcoro/qcorotask.h>

#include <type_traits>
#include <utility>

namespace tavro {

namespace detail {

template <class Task>
struct TaskValue;
template <class T>
struct TaskValue<QCoro::Task<T>> {
    using type = T;
};

/// Runs `operation()` here and passes its outcome on. The operation lives in this coroutine's frame, and with
/// it all that it captured, until it has finished.
template <class T, class Operation>
QCoro::Task<> fulfil(Promise<T> promise, Operation operation) {
    try {
        if constexpr (std::is_void_v<T>) {
            co_await operation();
            promise.resolve();
        } else {
            promise.resolve(co_await operation());
        }
    } catch (...) {
        promise.reject(std::current_exception());
    }
}

} // namespace detail

/// A thread with an event loop on which coroutines run one at a time, each until its next suspension.
/// What an actor owns is touched only there.
class Actor {
public:
    explicit Actor(const QString& label);
    /// Ends the loop and joins. Operations still suspended never finish: end what they wait for first.
    ~Actor();
    Actor(const Actor&) = delete;
    Actor& operator=(const Actor&) = delete;

    /// Starts the coroutine function `operation` (no arguments, returns `QCoro::Task<T>`) on the actor's
    /// thread. Awaiting the result brings the caller back to its own thread. Any thread.
    template <class Operation>
    auto run(Operation operation) {
        using T = typename detail::TaskValue<std::invoke_result_t<Operation>>::type;
        Promise<T> promise;
        loop->post([promise, operation = std::move(operation)] { detail::fulfil<T>(promise, operation); });
        return promise;
    }

    /// Runs `work` on the actor's thread and waits for it. Never from that thread.
    void sync(const std::function<void()>& work);

    bool isCurrent() const { return loop->isCurrent(); }

private:
    QThread thread;
    std::shared_ptr<EventLoop> loop;
};

/// Runs the blocking function `work` on a thread of its own pool, away from the caller. Awaiting the result
/// brings the caller back to its own thread. What `work` captured lives until it has returned, also when
/// nobody waits any more.
template <class Work>
auto runInBackground(Work work);

namespace detail {
void startInBackground(std::function<void()> work);
}

template <class Work>
auto runInBackground(Work work) {
    using T = std::invoke_result_t<Work>;
    Promise<T> promise;
    detail::startInBackground([promise, work = std::move(work)]() mutable {
        try {
            if constexpr (std::is_void_v<T>) {
                work();
                promise.resolve();
            } else {
                promise.resolve(work());
            }
        } catch (...) {
            promise.reject(std::current_exception());
        }
    });
    return promise;
}

} // namespace tavro
