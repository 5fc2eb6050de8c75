#pragma once

#include "Core/Promise.h"

#include <QString>
#include <QThread>
#include <qcoro/qcorotask.h>

#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

namespace tavro {

namespace detail {

template <class T>
struct Outcome {
    using type = T;
    static constexpr bool isTask = false;
};
template <class T>
struct Outcome<QCoro::Task<T>> {
    using type = T;
    static constexpr bool isTask = true;
};

/// Runs `operation()` and settles `promise`. The coroutine keeps the operation and its captures alive.
template <class T, class Operation>
QCoro::Task<> fulfil(Promise<T> promise, Operation operation) {
    try {
        if constexpr (Outcome<std::invoke_result_t<Operation>>::isTask) {
            auto task = operation();
            if constexpr (std::is_void_v<T>) {
                co_await task;
                promise.resolve();
            } else {
                promise.resolve(co_await task);
            }
        } else if constexpr (std::is_void_v<T>) {
            operation();
            promise.resolve();
        } else {
            promise.resolve(operation());
        }
    } catch (...) {
        promise.reject(std::current_exception());
    }
    co_return;
}

} // namespace detail

/// A named thread with an event loop; needs the QCoreApplication. Runs functions one at a time in submission
/// order, coroutines up to their next suspension. Timers and sockets work on it.
class SerialQueue {
public:
    using Work = EventLoop::Work;

    explicit SerialQueue(const QString& label);
    /// Runs the submitted work, then joins. A suspended coroutine never finishes: end its wait first.
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    bool isCurrent() const { return loop->isCurrent(); } ///< whether the caller runs on this queue

    void async(Work work) { loop->post(std::move(work)); } ///< any thread; returns at once
    /// Waits until `work` has run. Any thread but the queue's own.
    void sync(const Work& work);

    /// Submits `operation`, a function or coroutine function without arguments, at once. Returns its outcome.
    /// The caller has an event loop and resumes on its own thread.
    template <class Operation, class T = typename detail::Outcome<std::invoke_result_t<Operation>>::type>
    QCoro::Task<T> run(Operation operation) {
        const Promise<T> promise;
        async([promise, operation = std::move(operation)] { detail::fulfil<T>(promise, operation); });
        co_return co_await promise;
    }

private:
    QThread thread;
    std::shared_ptr<EventLoop> loop;
};

} // namespace tavro
