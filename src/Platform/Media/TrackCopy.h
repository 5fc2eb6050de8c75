#pragma once

#include "Platform/AssetWriter.h"
#include "Platform/Media/TrackReader.h"

#include <memory>
#include <vector>

namespace tavro {

/// Copies packets into one MPEG-4 file with the index in front. Writes and syncs a temporary file beside
/// `file`, then renames it: `file` is replaced as a whole or not at all. Throws PlatformError.
void copyTracks(
    std::vector<std::unique_ptr<TrackReader>> tracks, const std::filesystem::path& file, FileType type);

} // namespace tavro
