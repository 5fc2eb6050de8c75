#pragma once

#include "Platform/AssetWriter.h"
#include "Platform/ScreenCapture.h"

#include <filesystem>

namespace tavro {

/// Writes all frames of one stream through an asset writer. Main thread.
class WriterRecordingOutput final : public RecordingOutput {
public:
    /// Creates the file. Throws PlatformError.
    WriterRecordingOutput(AssetWriterFactory& factory, const std::filesystem::path& file);
    ~WriterRecordingOutput() override;

    void open(int width, int height); ///< of the stream's pictures
    void write(const VideoFramePtr& frame);
    QCoro::Task<> finish(); ///< the file; never throws
    std::uint64_t framesRefused() const { return input->framesRefused(); }

private:
    std::unique_ptr<AssetWriter> writer;
    std::shared_ptr<VideoWriterInput> input;
    bool started = false;
};

} // namespace tavro
