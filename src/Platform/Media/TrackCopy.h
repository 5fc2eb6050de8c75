#pragma once

#include "Platform/AssetWriter.h"
#include "Platform/Media/TrackReader.h"

#include <memory>
#include <vector>

namespace tavro {

/// Copies tracks, packet by packet, into one ordinary MPEG-4 file with its index in front. Throws
/// PlatformError and may then leave part of a file.
void copyTracks(
    std::vector<std::unique_ptr<TrackReader>> tracks, const std::filesystem::path& file, FileType type);

} // namespace tavro
