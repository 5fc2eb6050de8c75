#pragma once

#include "Platform/Media/Muxing.h"
#include "Platform/Media/TrackEncoder.h"

#include <optional>

namespace tavro {

/// Writes one track as a row of short fragments, each on its own playable with those before it and handed to
/// the file at once. After a failure the file ends with the last whole one. One thread at a time.
class FragmentedWriter {
public:
    /// `file` outlives the writer. Throws PlatformError.
    FragmentedWriter(OutputFile& file, FileType type, const TrackDescription& track);

    /// Throws PlatformError, also when the file takes no more.
    void add(libav::Packet packet);
    /// Writes what waits for a next packet that does not come, as standing for `duration`. Should the next
    /// come sooner, it counts.
    void flush(std::chrono::microseconds duration);
    bool hasUnwritten() const { return pending || held; }
    /// Writes what is left and the file's end. Returns where the track ends.
    std::chrono::microseconds finish();

private:
    void put(libav::Packet packet, std::int64_t duration);
    void announceGap(std::int64_t start);
    void write(AVPacket& packet);
    void cut();
    void endWith(const std::function<int()>& writeOut);
    std::int64_t inTrackTime(std::chrono::microseconds time) const;

    OutputFile& file;
    const AVRational timeBase;
    const std::int64_t lastDuration;
    const std::int64_t fragmentLength;
    const libav::OutputContext muxer;
    AVStream* stream = nullptr;
    libav::Packet pending; // of unknown duration
    bool held = false;     // whether the muxer holds packets of an unwritten fragment
    std::int64_t fragmentStart = 0;
    std::optional<std::int64_t> end; // of what the muxer was given
    bool indexWritten = false;
    std::int64_t wholeLength = 0; // bytes up to the end of the last whole fragment
};

} // namespace tavro
