#pragma once

#include "Platform/Media/Damage.h"
#include "Platform/Media/LibavHandles.h"
#include "Platform/TakeFormat.h"

#include <chrono>
#include <functional>
#include <variant>
#include <vector>

namespace tavro {

struct TrackDescription {
    libav::CodecParameters parameters;
    AVRational timeBase{};
    /// Duration of the last sample when no later one determines it.
    std::chrono::microseconds lastDuration{0};
};

struct TrackPicture {
    VideoFramePtr frame;
    std::int64_t time; ///< microseconds on the file's time line, later than the previous picture
    Damage damage;     ///< since the previous picture
    std::chrono::steady_clock::time_point submitted; ///< since then it waits for the encoder
};

/// The next samples of an audio track. Gaps become silence; overlapping samples are dropped.
struct TrackSamples {
    std::vector<TakeFormat::Sample> samples;
    std::int64_t position; ///< of the first sample, counted in samples from the file's time zero
};

using TrackContent = std::variant<TrackPicture, TrackSamples>;

/// Packet times use the track's time base. Packets without a duration last until the next. One thread at a
/// time; throws PlatformError.
class TrackEncoder {
public:
    using Output = std::function<void(libav::Packet)>;

    virtual ~TrackEncoder() = default;
    virtual TrackDescription open() = 0; ///< once, before anything else
    virtual void encode(const TrackContent& content, const Output& output) = 0;
    virtual void drain(const Output& output) = 0; ///< outputs the rest; ends the encoding
};

} // namespace tavro
