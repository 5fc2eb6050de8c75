#pragma once

#include "Audio/AudioFrame.h"
#include "Core/SerialQueue.h"
#include "Platform/AssetWriter.h"

#include <qcoro/qcorotask.h>

#include <cstdint>
#include <filesystem>
#include <memory>

namespace tavro {

/// Stores mixed audio frames as AAC. Sample n lies at n / `TakeFormat::sampleRate` s; a dropped frame leaves
/// no gap. One file at a time; reused for every take.
class MixedAudioWriter {
public:
    /// `factory` outlives the writer.
    explicit MixedAudioWriter(AssetWriterFactory& factory);

    /// Opens a new file at `url` and replaces an old one. Throws PlatformError; the writer is unchanged then.
    void start(const std::filesystem::path& url);
    /// Any thread; returns at once. Drops the frame while no file is open.
    void appendFrame(AudioFrame frame);
    /// Completes when the file is finished. Frames appended later are dropped. Never throws.
    QCoro::Task<> finish();

    /// Samples in the current file, or in the last one. Waits for the frames appended before.
    std::int64_t samplesWritten();

private:
    void write(const AudioFrame& frame);
    std::unique_ptr<AssetWriter> close();

    AssetWriterFactory& factory;
    std::unique_ptr<AssetWriter> assetWriter;
    std::shared_ptr<AudioWriterInput> writerInput;
    bool sessionStarted = false;
    std::int64_t sampleCount = 0;
    SerialQueue queue; // last: the writer, its input and the counters are used on it
};

} // namespace tavro
