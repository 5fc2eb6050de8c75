#pragma once

#include "Platform/AssetWriter.h"
#include "Platform/Media/TrackReader.h"

#include <memory>
#include <vector>

namespace tavro {

/// Copies tracks, packet by packet, into one ordinary MPEG-4 file with its index in front. It is made beside
/// the file and put in its place when it is whole and on the disk: whoever looks, whatever ends the program,
/// finds either what was there before or all of it. Throws PlatformError.
void copyTracks(
    std::vector<std::unique_ptr<TrackReader>> tracks, const std::filesystem::path& file, FileType type);

} // namespace tavro
