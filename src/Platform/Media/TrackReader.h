#pragma once

#include "Platform/Media/LibavHandles.h"
#include "Platform/MediaComposition.h"

#include <optional>

namespace tavro {

/// Opens a media file. Throws PlatformError when it is none, or cannot be read.
libav::InputContext openMediaFile(const std::filesystem::path& file);

/// The first track of that type, or null.
AVStream* firstTrack(const AVFormatContext& input, MediaType type);

/// Reads [0, length) of one track of a file, packet by packet; the last stands until the length is reached.
/// One thread at a time.
class TrackReader {
public:
    /// Without a length the whole track. Throws PlatformError when there is no such track.
    TrackReader(const std::filesystem::path& file, MediaType type,
        std::optional<std::chrono::microseconds> length = std::nullopt);

    const AVCodecParameters& parameters() const { return *stream->codecpar; }
    AVRational timeBase() const { return stream->time_base; }
    /// The packet to be taken next, null at the end.
    const AVPacket* next() const { return ahead.get(); }
    /// Takes it. Throws PlatformError when the file cannot be read on.
    libav::Packet take();

private:
    void readAhead();

    const libav::InputContext input;
    AVStream* const stream;
    std::optional<std::int64_t> end; // in the track's time base
    libav::Packet ahead;
};

} // namespace tavro
