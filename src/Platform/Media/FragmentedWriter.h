#pragma once

#include "Platform/Media/Muxing.h"
#include "Platform/Media/TrackEncoder.h"

#include <optional>

namespace tavro {

/// Writes one track as short fragments, flushed at once. Whole ones survive a failure. One thread at a time.
class FragmentedWriter {
public:
    /// `file` outlives the writer. Throws PlatformError.
    FragmentedWriter(OutputFile& file, FileType type, const TrackDescription& track);

    /// Throws PlatformError, also for a full disk.
    void add(libav::Packet packet);
    /// Writes the pending packet as if it were the last. A later one ends at its own time: no reader takes
    /// the file for longer than it is.
    void flush();
    bool hasUnwritten() const { return pending || held; }
    void finish(); ///< writes the rest and the file's end

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
    bool held = false;     // the muxer holds packets of an unwritten fragment
    std::int64_t fragmentStart = 0;
    std::optional<std::int64_t> end; // of the packets given to the muxer
    std::int64_t lastStart = 0;      // of the last of them
    bool indexWritten = false;
    std::int64_t wholeLength = 0; // bytes up to the end of the last whole fragment
};

} // namespace tavro
