#pragma once

#include "Platform/Media/Damage.h"
#include "Platform/Media/LibavHandles.h"
#include "Platform/TakeFormat.h"

#include <chrono>
#include <functional>
#include <variant>
#include <vector>

namespace tavro {

/// What a muxer has to know of a track before its first packet.
struct TrackDescription {
    libav::CodecParameters parameters;
    AVRational timeBase{};
    /// How long the last sample stands when no later one says it.
    std::chrono::microseconds lastDuration{0};
};

/// One picture of a video track.
struct TrackPicture {
    VideoFramePtr frame;
    std::int64_t time; ///< microseconds on the file's time line, later than that of the picture before
    Damage damage;     ///< since that picture
};

/// The next samples of an audio track. Where samples are missing before them there is silence; those that are
/// there already are left out.
struct TrackSamples {
    std::vector<TakeFormat::Sample> samples;
    std::int64_t position; ///< of the first, in samples from the start of the file's time line
};

using TrackContent = std::variant<TrackPicture, TrackSamples>;

/// Makes packets of one track, their times in the track's time base. Packets without a duration last until
/// the next. One thread at a time; throws PlatformError.
class TrackEncoder {
public:
    using Output = std::function<void(libav::Packet)>;

    virtual ~TrackEncoder() = default;
    virtual TrackDescription open() = 0; ///< once, before anything else
    /// `content` of the track's own kind.
    virtual void encode(const TrackContent& content, const Output& output) = 0;
    virtual void drain(const Output& output) = 0; ///< what is still inside; nothing can be encoded afterwards
};

} // namespace tavro
