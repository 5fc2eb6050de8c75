#pragma once

#include "Platform/Media/LibavHandles.h"
#include "Platform/MediaComposition.h"

#include <optional>

namespace tavro {

/// Opens a media file. Throws PlatformError when it cannot be read.
libav::InputContext openMediaFile(const std::filesystem::path& file);

AVStream* firstTrack(const AVFormatContext& input, MediaType type);

/// Reads [0, length) of one track. The last packet lasts until `length`. One thread at a time.
class TrackReader {
public:
    /// Without a length: the whole track. Throws PlatformError when the track does not exist.
    TrackReader(const std::filesystem::path& file, MediaType type,
        std::optional<std::chrono::microseconds> length = std::nullopt);

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
    std::optional<std::int64_t> end; // in the track's time base
    libav::Packet ahead;
};

} // namespace tavro
