#pragma once

#include "Platform/Media/LibavHandles.h"
#include "Platform/MediaComposition.h"

#include <cstdint>
#include <optional>

namespace tavro {

/// What a file says about one of its tracks. Of a file that was cut short: about its whole samples.
struct TrackIndex {
    std::int64_t samples = 0;
    std::int64_t keyFrames = 0;
    std::int64_t bytes = 0;
    std::chrono::microseconds end{0}; ///< of the last sample, from time zero
};

/// Opens a media file. Throws PlatformError when it cannot be read.
libav::InputContext openMediaFile(const std::filesystem::path& file);

AVStream* firstTrack(const AVFormatContext& input, MediaType type);

/// Reads the index of the first track of that type, or the heads of its fragments, but no samples. Empty
/// without such a track or a whole sample. Throws PlatformError when the file cannot be read.
std::optional<TrackIndex> readIndex(const std::filesystem::path& file, MediaType type);

} // namespace tavro
