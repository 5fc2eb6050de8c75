#pragma once

#include "Platform/AssetWriter.h"
#include "Platform/Media/WriterPipeline.h"

namespace tavro {

class MediaFileWriter final : public AssetWriter {
public:
    /// Creates the file. Throws PlatformError.
    MediaFileWriter(const std::filesystem::path& file, FileType type);
    ~MediaFileWriter() override;

    std::shared_ptr<VideoWriterInput> addVideoInput(const VideoSettings& settings) override;
    std::shared_ptr<AudioWriterInput> addAudioInput(const AudioSettings& settings) override;
    bool startWriting() override;
    void startSession(MediaTime sourceTime) override;
    QCoro::Task<> finishWriting() override;
    Status status() const override;
    std::exception_ptr error() const override;

private:
    const std::shared_ptr<WriterPipeline> pipeline;
};

} // namespace tavro
