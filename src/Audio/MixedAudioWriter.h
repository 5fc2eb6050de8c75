#pragma once

#include "Audio/AudioFrame.h"
#include "Core/SerialQueue.h"
#include "Platform/AssetWriter.h"

#include <qcoro/qcorotask.h>

#include <cstdint>
#include <filesystem>
#include <memory>

namespace tavro {

/// Stores mixed audio frames as AAC. The n-th sample written lies at n / `TakeFormat::sampleRate` s of
/// the file: a frame that is dropped closes up the time line. One file at a time; reused for every take.
class MixedAudioWriter {
public:
    /// `factory` outlives the writer.
    explicit MixedAudioWriter(AssetWriterFactory& factory);

    /// Opens a new file at `url`, in place of one that is there. Throws PlatformError and changes nothing
    /// then.
    void start(const std::filesystem::path& url);
    /// Any thread; returns at once. Dropped while no file is open.
    void appendFrame(AudioFrame frame);
    /// Completes when the file is finished. Frames appended later are dropped. Never throws.
    QCoro::Task<> finish();

    /// Samples written into the current file, or into the last. Waits for the frames appended before.
    std::int64_t samplesWritten();

private:
    void write(const AudioFrame& frame);
    std::unique_ptr<AssetWriter> close();

    AssetWriterFactory& factory;
    std::unique_ptr<AssetWriter> assetWriter;
    std::shared_ptr<AudioWriterInput> writerInput;
    bool sessionStarted = false;
    std::int64_t sampleCount = 0;
    SerialQueue queue; // all of the above is read and changed on it
};

} // namespace tavro
