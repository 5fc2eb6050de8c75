#pragma once

#include "Core/EventLoop.h"

#include <qcoro/coroutine.h>

#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <variant>

namespace tavro {

/// A value that is set later, once, from any thread. Copies share it. Only the first `resolve` or `reject`
/// counts. At most one coroutine awaits it and resumes on its own thread, which has an event loop.
/// QPromise and QFuture with QCoro were tried: ThreadSanitizer reports their exceptions as races, they store
/// a second outcome, and each wait needs a QObject.
template <class T>
class Promise {
    using Stored = std::conditional_t<std::is_void_v<T>, std::monostate, T>;

    struct State {
        std::mutex mutex;
        std::variant<std::monostate, std::optional<Stored>, std::exception_ptr> result;
        std::coroutine_handle<> waiting;
        std::shared_ptr<EventLoop> loop;
        bool settled() const { return result.index() != 0; }
    };

public:
    /// False when the value was set already.
    template <class... Value>
    bool resolve(Value&&... value) const {
        return settle(
            [&](State& s) { s.result.template emplace<1>(std::in_place, std::forward<Value>(value)...); });
    }
    bool reject(std::exception_ptr error) const {
        return settle([&](State& s) { s.result.template emplace<2>(std::move(error)); });
    }

    auto operator co_await() const {
        struct Awaiter {
            std::shared_ptr<State> state;
            bool await_ready() const {
                const std::lock_guard lock(state->mutex);
                return state->settled();
            }
            bool await_suspend(std::coroutine_handle<> handle) const {
                auto loop = EventLoop::current();
                const std::lock_guard lock(state->mutex);
                if (state->settled())
                    return false;
                state->waiting = handle;
                state->loop = std::move(loop);
                return true;
            }
            T await_resume() const {
                const std::lock_guard lock(state->mutex);
                if (auto* error = std::get_if<2>(&state->result))
                    std::rethrow_exception(*error);
                if constexpr (!std::is_void_v<T>)
                    return std::move(*std::get<1>(state->result));
            }
        };
        return Awaiter{state};
    }

private:
    template <class Store>
    bool settle(const Store& store) const {
        std::coroutine_handle<> waiting;
        std::shared_ptr<EventLoop> loop;
        {
            const std::lock_guard lock(state->mutex);
            if (state->settled())
                return false;
            store(*state);
            waiting = std::exchange(state->waiting, nullptr);
            loop = std::move(state->loop);
        }
        if (waiting)
            loop->post([waiting] { waiting.resume(); });
        return true;
    }

    std::shared_ptr<State> state = std::make_shared<State>();
};

} // namespace tavro
