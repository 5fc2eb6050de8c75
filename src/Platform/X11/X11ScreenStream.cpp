#include "Platform/X11/X11ScreenStream.h"

#include "Core/Errors.h"
#include "Platform/X11/X11CaptureThread.h"

namespace tavro {

X11ScreenStream::X11ScreenStream(
    QByteArray server, const ContentFilter& contentFilter, const StreamConfiguration& streamConfiguration)
    : display(std::move(server))
    , filter(contentFilter)
    , configuration(streamConfiguration)
    , waker(std::make_shared<Waker>())
    , channel(std::make_shared<FrameChannel>(
          EventLoop::current(), configuration.queueDepth, [waker = waker] { waker->wake(); })) {}

X11ScreenStream::~X11ScreenStream() {
    channel->close();
}

void X11ScreenStream::addStreamOutput(FrameHandler handler) {
    channel->addHandler(std::move(handler));
}

void X11ScreenStream::addRecordingOutput(std::shared_ptr<RecordingOutput> output) {
    auto writer = std::dynamic_pointer_cast<WriterRecordingOutput>(output);
    if (!writer)
        throw PlatformError(QStringLiteral("Tavro.Screen"), 2,
            QStringLiteral("The recording output is not one of this screen's"));
    writer->open(configuration.width, configuration.height);
    recording = writer;
    channel->addHandler([writer](const VideoFramePtr& frame) { writer->write(frame); });
}

void X11ScreenStream::setFailureHandler(FailureHandler handler) {
    channel->setFailureHandler(std::move(handler));
}

QCoro::Task<> X11ScreenStream::startCapture() {
    thread = std::make_unique<X11CaptureThread>(display, filter, configuration, channel, waker);
    const auto started = thread->started();
    co_await started;
}

QCoro::Task<> X11ScreenStream::stopCapture() {
    if (thread) {
        const auto stopped = thread->stop();
        co_await stopped;
        thread.reset();
    }
    channel->close();
    if (recording) {
        auto finished = recording->finish();
        co_await finished;
    }
}

StreamStatistics X11ScreenStream::statistics() const {
    StreamStatistics counts = channel->statistics();
    if (recording)
        counts.framesRefused = recording->framesRefused();
    return counts;
}

} // namespace tavro
