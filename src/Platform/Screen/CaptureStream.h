#pragma once

#include "Core/Waker.h"
#include "Platform/Screen/CaptureThread.h"
#include "Platform/Screen/FrameChannel.h"
#include "Platform/Screen/WriterRecordingOutput.h"
#include "Platform/ScreenCapture.h"

namespace tavro {

/// The main thread's part of a capture. Lives until `startCapture()` has completed or failed.
class CaptureStream final : public ScreenStream {
public:
    struct Prepared {
        CaptureThread::MakeSource makeSource;
        std::shared_ptr<void> held; ///< as long as the stream
    };
    /// Called when the capture starts; may ask the user. Main thread. Throws PlatformError.
    using Prepare = std::function<QCoro::Task<Prepared>()>;

    CaptureStream(Prepare prepare, const StreamConfiguration& configuration);
    ~CaptureStream() override;

    void addStreamOutput(FrameHandler handler) override;
    void addRecordingOutput(std::shared_ptr<RecordingOutput> output) override;
    void setFailureHandler(FailureHandler handler) override;
    QCoro::Task<> startCapture() override;
    QCoro::Task<> stopCapture() override;
    VideoFramePtr latestFrame() const override { return thread ? thread->latestFrame() : nullptr; }
    StreamStatistics statistics() const override;

private:
    const Prepare prepare;
    const StreamConfiguration configuration;
    const std::shared_ptr<Waker> waker;
    const std::shared_ptr<FrameChannel> channel;
    std::shared_ptr<WriterRecordingOutput> recording;
    std::shared_ptr<void> held;
    std::unique_ptr<CaptureThread> thread;
};

} // namespace tavro
