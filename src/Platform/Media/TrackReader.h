#pragma once

#include "Platform/Media/TrackIndex.h"

namespace tavro {

/// Reads [0, length) of one track. The last packet lasts until `length`. One thread at a time.
class TrackReader {
public:
    /// Throws PlatformError when the track does not exist.
    TrackReader(const std::filesystem::path& file, MediaType type, std::chrono::microseconds length);

    const AVCodecParameters& parameters() const { return *stream->codecpar; }
    AVRational timeBase() const { return stream->time_base; }
    /// The next packet; null at the end.
    const AVPacket* next() const { return ahead.get(); }
    /// Removes the next packet. Throws PlatformError on a read error.
    libav::Packet take();

private:
    void readAhead();

    const libav::InputContext input;
    AVStream* const stream;
    const std::int64_t end; // in the track's time base
    libav::Packet ahead;
};

} // namespace tavro
