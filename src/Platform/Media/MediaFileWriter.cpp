#include "Platform/Media/AACEncoder.h"
#include "Platform/Media/AudioTrackInput.h"
#include "Platform/Media/Media.h"
#include "Platform/Media/VideoTrackInput.h"
#include "Platform/Media/X264Encoder.h"

namespace tavro {

namespace {

class MediaFileWriter final : public AssetWriter {
public:
    MediaFileWriter(const std::filesystem::path& file, FileType type)
        : pipeline(std::make_shared<WriterPipeline>(file, type)) {}
    ~MediaFileWriter() override { pipeline->cancel(); }

    std::shared_ptr<VideoWriterInput> addVideoInput(const VideoSettings& settings) override {
        const auto isUsable = [](int size) { return size > 0 && size % 2 == 0; };
        if (pipeline->hasTrack() || !isUsable(settings.width) || !isUsable(settings.height))
            return nullptr;
        pipeline->setTrack(
            std::make_unique<X264Encoder>(settings), QStringLiteral("com.quembridge.tavro.videowriter"));
        return std::make_shared<VideoTrackInput>(settings, pipeline);
    }

    std::shared_ptr<AudioWriterInput> addAudioInput(const AudioSettings& settings) override {
        if (pipeline->hasTrack() || settings.sampleRate <= 0 || settings.channels != 1 ||
            settings.bitRate <= 0)
            return nullptr;
        pipeline->setTrack(
            std::make_unique<AACEncoder>(settings), QStringLiteral("com.quembridge.tavro.aacencoder"));
        return std::make_shared<AudioTrackInput>(settings, pipeline);
    }

    bool startWriting() override { return pipeline->start(); }
    void startSession(MediaTime sourceTime) override { pipeline->startSession(sourceTime); }

    QCoro::Task<> finishWriting() override { return pipeline->finish(); }

    Status status() const override { return pipeline->status(); }
    std::exception_ptr error() const override { return pipeline->error(); }

private:
    const std::shared_ptr<WriterPipeline> pipeline;
};

class MediaFileWriterFactory final : public AssetWriterFactory {
public:
    std::unique_ptr<AssetWriter> makeAssetWriter(const std::filesystem::path& file, FileType type) override {
        return std::make_unique<MediaFileWriter>(file, type);
    }
};

} // namespace

std::unique_ptr<AssetWriterFactory> makeAssetWriterFactory() {
    return std::make_unique<MediaFileWriterFactory>();
}

} // namespace tavro
