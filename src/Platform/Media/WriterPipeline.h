#pragma once

#include "Core/Promise.h"
#include "Core/SerialQueue.h"
#include "Platform/Media/FragmentedWriter.h"

#include <atomic>
#include <mutex>
#include <optional>

namespace tavro {

/// What an asset writer and its input share: the file, the state, and the queue on which one track is encoded
/// into the file. Functions without a note are called by the writer and its input, one thread at a time.
class WriterPipeline {
public:
    /// Creates the file. Throws PlatformError.
    WriterPipeline(std::filesystem::path path, FileType type);
    ~WriterPipeline();

    bool hasTrack() const { return encoder != nullptr; }
    void setTrack(std::unique_ptr<TrackEncoder> trackEncoder, const QString& label);

    bool start();
    void startSession(MediaTime sourceTime) { zero = sourceTime; }
    void finish(const Promise<void>& done); ///< any state; `done` follows whatever happens
    void cancel();

    AssetWriter::Status status() const; ///< any thread
    std::exception_ptr error() const;   ///< any thread

    bool isWriting() const { return status() == AssetWriter::Status::writing; } ///< any thread
    /// Whether there is a session and the encoder is behind by less than `mostWaiting` of what its input
    /// counts.
    bool takes(std::int64_t mostWaiting) const { return zero && waiting < mostWaiting && isWriting(); }
    /// Where `time` lies in the session that was started, `perSecond` units a second.
    std::int64_t position(MediaTime time, int perSecond) const;
    /// Has the encoder make packets of `content`, which counts as `size` until it does.
    void submit(TrackContent content, std::int64_t size);

private:
    void run(const std::function<void()>& work);
    void open();
    void add(libav::Packet packet);
    void watchForSilence();
    void complete();
    void fail(std::exception_ptr reason);
    void settle(AssetWriter::Status status, std::exception_ptr reason = nullptr);
    QString name() const;

    const FileType type;
    std::optional<MediaTime> zero; // what lies at the file's time zero, once the session has started
    mutable std::mutex mutex;
    AssetWriter::Status currentStatus = AssetWriter::Status::unknown;
    std::exception_ptr currentError;
    std::atomic<std::int64_t> waiting = 0; // in the queue, as the input counts it

    // On the queue:
    OutputFile file;
    std::optional<FragmentedWriter> fragments;
    std::chrono::steady_clock::time_point lastPacket;
    bool watching = false;

    std::unique_ptr<TrackEncoder> encoder;
    const TrackEncoder::Output output = [this](libav::Packet packet) { add(std::move(packet)); };
    std::unique_ptr<SerialQueue> queue; // last: it uses all of the above
};

} // namespace tavro
