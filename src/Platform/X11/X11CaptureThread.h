#pragma once

#include "Core/Promise.h"
#include "Core/Waker.h"
#include "Platform/Screen/FrameChannel.h"
#include "Platform/ScreenCapture.h"

#include <QByteArray>

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace tavro {

/// The thread of one capture. It sleeps until an X event or the time to repeat the picture; a frame costs one
/// round trip. Loss of the target, the server or the connection does not end it: it repeats the last picture.
/// Other failures, e.g. of memory, end it and are passed to the channel as PlatformError "Tavro.X11" 7.
class X11CaptureThread {
public:
    using Clock = std::chrono::steady_clock;

    /// `channel` and `waker` belong to this capture. New room in the channel wakes `waker`.
    X11CaptureThread(QByteArray display, const ContentFilter& filter,
        const StreamConfiguration& configuration, std::shared_ptr<FrameChannel> channel,
        std::shared_ptr<Waker> waker);
    /// Ends the thread without waiting for an unresponsive server, except while it connects (some seconds).
    ~X11CaptureThread();

    /// Resolved after delivery of the first frame; rejected on an earlier failure, e.g. when the server does
    /// not answer, which ends the thread.
    const Promise<void>& started() const { return startedPromise; }
    /// Sends the last frame, of this moment, and ends the thread. Resolved after delivery, or when it failed.
    Promise<void> stop();

private:
    class Loop;
    struct Order { // to end
        std::optional<std::chrono::microseconds> lastFrameTime;
        std::optional<Clock::time_point> answerBefore; // deadline of the server's answers
    };
    void end(std::optional<std::chrono::microseconds> lastFrameTime, Clock::duration answerWithin);
    std::optional<Order> order() const;
    void run(
        const QByteArray& display, const ContentFilter& filter, const StreamConfiguration& configuration);
    void fail(); ///< with the current exception

    const std::shared_ptr<FrameChannel> channel;
    const std::shared_ptr<Waker> waker;
    const Promise<void> startedPromise;
    const Promise<void> stoppedPromise;
    mutable std::mutex mutex;
    std::optional<Order> given;
    std::thread thread; // last: it uses the other members
};

} // namespace tavro
