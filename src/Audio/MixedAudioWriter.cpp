#include "Audio/MixedAudioWriter.h"

#include "Core/Files.h"
#include "Core/Promise.h"

#include <utility>

namespace tavro {

namespace {
constexpr AudioSettings encoderSettings{TakeFormat::sampleRate, 1, TakeFormat::audioBitRate};
} // namespace

MixedAudioWriter::MixedAudioWriter(AssetWriterFactory& factory_)
    : factory(factory_)
    , queue(QStringLiteral("com.quembridge.tavro.audiowriter")) {}

void MixedAudioWriter::start(const std::filesystem::path& url) {
    Files::remove(url);
    auto writer = factory.makeAssetWriter(url, FileType::appleM4A);
    auto input = writer->addAudioInput(encoderSettings);
    writer->startWriting();
    writer->startSession({0, TakeFormat::sampleRate});
    queue.sync([&] {
        writerInput = std::move(input);
        assetWriter.swap(writer); // an unfinished writer is destroyed here, not on the queue
        sessionStarted = true;
        sampleCount = 0;
    });
}

void MixedAudioWriter::appendFrame(AudioFrame frame) {
    if (!frame.empty())
        queue.async([this, frame = std::move(frame)] { write(frame); });
}

void MixedAudioWriter::write(const AudioFrame& frame) {
    if (!sessionStarted || !writerInput || !writerInput->isReadyForMoreMediaData())
        return;
    writerInput->append(frame, {sampleCount, TakeFormat::sampleRate});
    sampleCount += static_cast<std::int64_t>(frame.size());
}

std::unique_ptr<AssetWriter> MixedAudioWriter::close() {
    if (!writerInput || !assetWriter || !sessionStarted)
        return nullptr;
    writerInput->markAsFinished();
    writerInput.reset();
    sessionStarted = false;
    return std::move(assetWriter);
}

QCoro::Task<> MixedAudioWriter::finish() {
    const Promise<std::unique_ptr<AssetWriter>> closed;
    queue.async([this, closed] { closed.resolve(close()); });
    const auto writer = co_await closed;
    if (!writer)
        co_return;
    auto finished = writer->finishWriting();
    co_await finished;
}

std::int64_t MixedAudioWriter::samplesWritten() {
    std::int64_t count = 0;
    queue.sync([&] { count = sampleCount; });
    return count;
}

} // namespace tavro
