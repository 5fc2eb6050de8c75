#pragma once

#include "Platform/Media/LibavHandles.h"

#include <chrono>
#include <functional>

namespace tavro {

/// What a muxer has to know of a track before its first packet.
struct TrackDescription {
    libav::CodecParameters parameters;
    AVRational timeBase{};
    /// How long the last sample stands when no later one says it.
    std::chrono::microseconds lastDuration{0};
};

/// Makes packets of one track, their times in the track's time base. Packets without a duration last until
/// the next. One thread at a time; throws PlatformError.
class TrackEncoder {
public:
    using Output = std::function<void(libav::Packet)>;

    virtual ~TrackEncoder() = default;
    virtual TrackDescription open() = 0;          ///< once, before anything else
    virtual void drain(const Output& output) = 0; ///< what is still inside; nothing can be encoded afterwards
};

} // namespace tavro
