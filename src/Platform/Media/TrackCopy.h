#pragma once

#include "Platform/Media/TrackIndex.h"

#include <atomic>
#include <span>

namespace tavro {

/// [0, length) of the first track of that type in `file`.
struct TrackSection {
    std::filesystem::path file;
    MediaType type{};
    TrackIndex index; ///< of the whole track
    std::chrono::microseconds length{0};
};

/// Copies packets into one MPEG-4 file, in one pass, into the place behind room for the index. Writes and
/// syncs a temporary file beside `file`, then renames it: `file`, which may be one of the sources, is
/// replaced as a whole or not at all. Throws PlatformError, also when `cancelled` was set.
void copyTracks(std::span<const TrackSection> tracks, const std::filesystem::path& file,
    const std::atomic<bool>& cancelled);

} // namespace tavro
