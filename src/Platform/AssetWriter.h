#pragma once

#include "Platform/TakeFormat.h"
#include "Platform/VideoFrame.h"

#include <qcoro/qcorotask.h>

#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <memory>
#include <span>

namespace tavro {

/// A position on a file's time line: `value` / `timescale` seconds.
struct MediaTime {
    std::int64_t value = 0;
    std::int32_t timescale = 1;
};

/// The one track of an asset writer, encoded on the writer's own thread. One thread at a time.
class AssetWriterInput {
public:
    virtual ~AssetWriterInput() = default;
    /// False while the encoder's bounded queue is full; `append()` then returns false.
    virtual bool isReadyForMoreMediaData() const = 0;
    virtual void markAsFinished() = 0;
};

class VideoWriterInput : public AssetWriterInput {
public:
    /// False when refused. Damage of refused frames passes to the next. `markAsFinished()` still encodes the
    /// last frame if a full queue caused its refusal.
    virtual bool append(const VideoFramePtr& frame) = 0;
    /// Frames that are missing in the file because the queue was full.
    virtual std::uint64_t framesRefused() const = 0;
};

class AudioWriterInput : public AssetWriterInput {
public:
    /// Copies `samples`: mono, at the input's sample rate. `time` is that of the first sample.
    virtual bool append(std::span<const TakeFormat::Sample> samples, MediaTime time) = 0;
};

struct VideoSettings { ///< H.264
    int width = 0;
    int height = 0;
};

struct AudioSettings {  ///< AAC
    int sampleRate = 0; ///< Hz
    int channels = 1;
    int bitRate = 0; ///< bits a second
};

enum class FileType { mpeg4, appleM4A };

/// Encodes one track into a file of fragments of at most a second, each flushed at once, so an interrupted
/// file stays playable. An `ExportSession` makes an ordinary MP4 of one or two such files.
class AssetWriter {
public:
    enum class Status { unknown, writing, completed, failed, cancelled };

    /// Cancels: stops encoding and leaves the file as it is.
    virtual ~AssetWriter() = default;

    /// At most one input, before `startWriting()`. Null when the writer does not accept it.
    virtual std::shared_ptr<VideoWriterInput> addVideoInput(const VideoSettings& settings) = 0;
    virtual std::shared_ptr<AudioWriterInput> addAudioInput(const AudioSettings& settings) = 0;

    virtual bool startWriting() = 0;
    /// `sourceTime` becomes the file's time zero.
    virtual void startSession(MediaTime sourceTime) = 0;
    /// Completes when the file is finished; see `status()`. Requires `startWriting()`. Never throws.
    virtual QCoro::Task<> finishWriting() = 0;

    virtual Status status() const = 0;            ///< any thread
    virtual std::exception_ptr error() const = 0; ///< of the failure, e.g. no space left; any thread
};

class AssetWriterFactory {
public:
    virtual ~AssetWriterFactory() = default;
    /// Creates the file. Throws PlatformError on failure. Any thread.
    virtual std::unique_ptr<AssetWriter> makeAssetWriter(
        const std::filesystem::path& file, FileType type) = 0;
};

} // namespace tavro
