#include "Platform/Screen/WriterRecordingOutput.h"

#include "Core/Errors.h"

namespace tavro {

WriterRecordingOutput::WriterRecordingOutput(AssetWriterFactory& factory, const std::filesystem::path& file)
    : writer(factory.makeAssetWriter(file, FileType::mpeg4)) {}

WriterRecordingOutput::~WriterRecordingOutput() = default;

void WriterRecordingOutput::open(int width, int height) {
    input = writer->addVideoInput({width, height});
    if (!input)
        throw PlatformError(
            QStringLiteral("Tavro.Screen"), 1, QStringLiteral("The recording output accepts no video"));
}

void WriterRecordingOutput::write(const VideoFramePtr& frame) {
    if (!started) {
        writer->startWriting();
        writer->startSession({frame->presentationTime.count(), 1'000'000});
        started = true;
    }
    input->append(frame); // a busy input drops it
}

QCoro::Task<> WriterRecordingOutput::finish() {
    if (!started)
        co_return; // no frame came; the writer's destructor cancels
    input->markAsFinished();
    co_await writer->finishWriting();
}

} // namespace tavro
