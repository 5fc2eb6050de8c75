#pragma once

#include "Core/EventLoop.h"
#include "Platform/ScreenCapture.h"

#include <functional>
#include <memory>
#include <mutex>

namespace tavro {

/// Carries frames from a capture thread to the main thread, with a limit on those in transit.
class FrameChannel : public std::enable_shared_from_this<FrameChannel> {
public:
    using Handler = ScreenStream::FrameHandler;
    using FailureHandler = ScreenStream::FailureHandler;

    /// Calls `onRoom` on the main thread after a delivery from a full channel.
    FrameChannel(std::shared_ptr<EventLoop> main, int depth, std::function<void()> onRoom);

    void addHandler(Handler handler);               ///< main thread, before the first frame
    void setFailureHandler(FailureHandler handler); ///< main thread, before the first frame
    void close();                                   ///< main thread; no handler is called afterwards
    StreamStatistics statistics() const;            ///< any thread

    // Capture thread:
    bool hasRoom() const;
    void send(VideoFramePtr frame);        ///< ignores the limit
    void post(std::function<void()> work); ///< runs on the main thread, after the frames sent before
    void fail(std::exception_ptr reason);  ///< calls the failure handler, after the frames sent before
    void countDropped();

private:
    void deliver(const VideoFramePtr& frame);

    const std::shared_ptr<EventLoop> main;
    const int depth;
    const std::function<void()> onRoom;
    std::vector<Handler> handlers; // this and the next two are the main thread's
    FailureHandler onFailure;
    bool closed = false;

    mutable std::mutex mutex;
    int underWay = 0;
    StreamStatistics counts;
};

} // namespace tavro
