#include "Platform/Screen/CaptureStream.h"

#include "Core/Errors.h"

namespace tavro {

CaptureStream::CaptureStream(Prepare prepareGiven, const StreamConfiguration& streamConfiguration)
    : prepare(std::move(prepareGiven))
    , configuration(streamConfiguration)
    , waker(std::make_shared<Waker>())
    , channel(std::make_shared<FrameChannel>(
          EventLoop::current(), configuration.queueDepth, [waker = waker] { waker->wake(); })) {}

CaptureStream::~CaptureStream() {
    channel->close();
}

void CaptureStream::addStreamOutput(FrameHandler handler) {
    channel->addHandler(std::move(handler));
}

void CaptureStream::addRecordingOutput(std::shared_ptr<RecordingOutput> output) {
    auto writer = std::dynamic_pointer_cast<WriterRecordingOutput>(output);
    if (!writer)
        throw PlatformError(QStringLiteral("Tavro.Screen"), 2,
            QStringLiteral("The recording output is not one of this screen's"));
    writer->open(configuration.width, configuration.height);
    recording = writer;
    channel->addHandler([writer](const VideoFramePtr& frame) { writer->write(frame); });
}

void CaptureStream::setFailureHandler(FailureHandler handler) {
    channel->setFailureHandler(std::move(handler));
}

QCoro::Task<> CaptureStream::startCapture() {
    auto preparing = prepare();
    auto prepared = co_await preparing;
    held = std::move(prepared.held);
    thread = std::make_unique<CaptureThread>(std::move(prepared.makeSource), configuration, channel, waker);
    const auto started = thread->started();
    try {
        co_await started;
    } catch (...) {
        thread.reset();
        held.reset();
        throw;
    }
}

QCoro::Task<> CaptureStream::stopCapture() {
    if (thread) {
        const auto stopped = thread->stop();
        co_await stopped;
        thread.reset();
        held.reset();
    }
    channel->close();
    if (recording) {
        auto finished = recording->finish();
        co_await finished;
    }
}

StreamStatistics CaptureStream::statistics() const {
    StreamStatistics counts = channel->statistics();
    if (recording)
        counts.framesRefused = recording->framesRefused();
    return counts;
}

} // namespace tavro
