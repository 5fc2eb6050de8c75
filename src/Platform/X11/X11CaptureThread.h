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

/// The thread of one capture. It sleeps until the server tells of damage, the pointer's motion or a change of
/// the target, or until the picture has to be repeated; a frame costs one way to the server and back. Nothing
/// that happens to the target, the server or the connection ends it: the last picture stays and is repeated.
class X11CaptureThread {
public:
    using Clock = std::chrono::steady_clock;

    /// `channel` and `waker` are this capture's own; the waker is also woken when the channel has room again.
    X11CaptureThread(QByteArray display, const ContentFilter& filter,
        const StreamConfiguration& configuration, std::shared_ptr<FrameChannel> channel,
        std::shared_ptr<Waker> waker);
    /// Ends the thread. Does not wait for a server that does not answer.
    ~X11CaptureThread();

    /// Resolved after the first frame has been delivered, or rejected, and then the thread ends.
    const Promise<void>& started() const { return startedPromise; }
    /// Sends the last frame, shown at that time, and ends the thread. Resolved after that frame has been
    /// delivered.
    Promise<void> stop(std::chrono::microseconds time);

private:
    class Loop;
    /// What the main thread wants of the capture's.
    class Orders {
    public:
        void give(std::optional<std::chrono::microseconds> lastFrameTime, Clock::duration answerWithin);
        bool isGiven() const;
        std::optional<std::chrono::microseconds> lastFrameTime() const;
        Clock::time_point answerBefore() const; ///< the server

    private:
        mutable std::mutex mutex;
        bool given = false;
        std::optional<std::chrono::microseconds> lastTime;
        Clock::time_point deadline;
    };
    void run(
        const QByteArray& display, const ContentFilter& filter, const StreamConfiguration& configuration);

    const std::shared_ptr<FrameChannel> channel;
    const std::shared_ptr<Waker> waker;
    const Promise<void> startedPromise;
    const Promise<void> stoppedPromise;
    Orders orders;
    std::thread thread; // last: it uses all of the above
};

} // namespace tavro
