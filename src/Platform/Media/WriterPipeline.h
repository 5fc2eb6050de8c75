#pragma once

#include "Core/SerialQueue.h"
#include "Platform/Media/FragmentedWriter.h"

#include <atomic>
#include <mutex>
#include <optional>

namespace tavro {

/// The file, status and encoder queue of an asset writer. Functions without a note: one thread at a time.
class WriterPipeline {
public:
    /// Creates the file. Throws PlatformError.
    WriterPipeline(std::filesystem::path path, FileType type);
    ~WriterPipeline();

    bool hasTrack() const { return encoder != nullptr; }
    void setTrack(std::unique_ptr<TrackEncoder> trackEncoder, const QString& label);

    bool start();
    void startSession(MediaTime sourceTime) { zero = sourceTime; }
    QCoro::Task<> finish(); ///< in any state; never throws
    void cancel();

    AssetWriter::Status status() const; ///< any thread
    std::exception_ptr error() const;   ///< any thread

    bool isWriting() const { return status() == AssetWriter::Status::writing; } ///< any thread
    /// The session has started and the backlog is below `mostWaiting`, in the input's units.
    bool takes(std::int64_t mostWaiting) const { return zero && waiting < mostWaiting && isWriting(); }
    /// `time` relative to the session's start, in units of 1/`perSecond` second.
    std::int64_t position(MediaTime time, int perSecond) const;
    /// Queues `content` for the encoder. Adds `size` to the backlog until it is encoded.
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
    std::optional<MediaTime> zero; // time of the file's zero, once the session has started
    mutable std::mutex mutex;
    AssetWriter::Status currentStatus = AssetWriter::Status::unknown;
    std::exception_ptr currentError;
    std::atomic<std::int64_t> waiting = 0; // backlog, in the input's units

    // On the queue:
    OutputFile file;
    std::optional<FragmentedWriter> fragments;
    std::chrono::steady_clock::time_point lastPacket;
    bool watching = false;

    std::unique_ptr<TrackEncoder> encoder;
    const TrackEncoder::Output output = [this](libav::Packet packet) { add(std::move(packet)); };
    std::unique_ptr<SerialQueue> queue; // last: it uses the other members
};

} // namespace tavro
