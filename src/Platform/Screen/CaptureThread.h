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
    /// The picture sent last, kept until it is released; null before the first, after the end, and while the
    /// next is drawn over it. Any thread.
    VideoFramePtr latestFrame() const;
    /// Sends the last frame, of this moment, and ends the thread. Resolved after delivery, or when it failed.
    Promise<void> stop();

private:
    class Loop;
    struct Order { // to end
        std::optional<std::chrono::microseconds> lastFrameTime;
        std::optional<Clock::time_point> answerBefore; // deadline of the source's answers
    };
    struct Sent {
        std::shared_ptr<CanvasPool> pool;
        std::shared_ptr<Canvas> canvas;
        std::chrono::microseconds time{0};
        std::uint64_t sequence = 0;
    };
    void end(std::optional<std::chrono::microseconds> lastFrameTime, Clock::duration answerWithin);
    std::optional<Order> order() const;
    void remember(std::optional<Sent> last);
    void run(const MakeSource& makeSource, const StreamConfiguration& configuration);
    void fail(); ///< with the current exception

    const std::shared_ptr<FrameChannel> channel;
    const std::shared_ptr<Waker> waker;
    const Promise<void> startedPromise;
    const Promise<void> stoppedPromise;
    mutable std::mutex mutex;
    std::optional<Order> given;
    std::optional<Sent> sent; // the frame sent last
    std::thread thread;       // last: it uses the other members
};

} // namespace tavro
