#pragma once

#include "Core/Waker.h"
#include "Platform/Screen/FrameChannel.h"
#include "Platform/Screen/WriterRecordingOutput.h"
#include "Platform/ScreenCapture.h"

#include <QByteArray>

namespace tavro {

class X11CaptureThread;

/// The main thread's part of a capture.
class X11ScreenStream final : public ScreenStream {
public:
    X11ScreenStream(
        QByteArray display, const ContentFilter& filter, const StreamConfiguration& configuration);
    ~X11ScreenStream() override;

    void addStreamOutput(FrameHandler handler) override;
    void addRecordingOutput(std::shared_ptr<RecordingOutput> output) override;
    void setFailureHandler(FailureHandler handler) override;
    QCoro::Task<> startCapture() override;
    QCoro::Task<> stopCapture() override;
    StreamStatistics statistics() const override;

private:
    const QByteArray display;
    const ContentFilter filter;
    const StreamConfiguration configuration;
    const std::shared_ptr<Waker> waker;
    const std::shared_ptr<FrameChannel> channel;
    std::shared_ptr<WriterRecordingOutput> recording;
    std::unique_ptr<X11CaptureThread> thread;
};

} // namespace tavro
