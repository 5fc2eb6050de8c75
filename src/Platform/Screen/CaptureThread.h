#pragma once

#include "Core/Promise.h"
#include "Core/Waker.h"
#include "Platform/Screen/FrameChannel.h"
#include "Platform/Screen/PictureSource.h"
#include "Platform/ScreenCapture.h"

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace tavro {

/// The thread of one capture. It sleeps until its source has news or the picture is to be repeated. Loss of
/// the target or the source does not end it: it repeats the last picture. Other failures, e.g. of memory, end
/// it and are passed to the channel as PlatformError "Tavro.Screen" 7.
class CaptureThread {
public:
    using Clock = std::chrono::steady_clock;
    /// Called on the capture's thread. Throws PlatformError when there is nothing to capture.
    using MakeSource = std::function<std::unique_ptr<PictureSource>(std::shared_ptr<CanvasPool> canvases)>;

    /// `channel` and `waker` belong to this capture. New room in the channel wakes `waker`.
    CaptureThread(MakeSource makeSource, const StreamConfiguration& configuration,
        std::shared_ptr<FrameChannel> channel, std::shared_ptr<Waker> waker);
    /// Ends the thread without waiting for an unresponsive source, except while it is made (some seconds).
    ~CaptureThread();

    /// Resolved after delivery of the first frame; rejected on an earlier failure, e.g. when the source does
    /// not answer, which ends the thread.
    const Promise<void>& started() const { return startedPromise; }
    /// Sends the last frame, of this moment, and ends the thread. Resolved after delivery, or when it failed.
    Promise<void> stop();

private:
    class Loop;
    struct Order { // to end
        std::optional<std::chrono::microseconds> lastFrameTime;
        std::optional<Clock::time_point> answerBefore; // deadline of the source's answers
    };
    void end(std::optional<std::chrono::microseconds> lastFrameTime, Clock::duration answerWithin);
    std::optional<Order> order() const;
    void run(const MakeSource& makeSource, const StreamConfiguration& configuration);
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
