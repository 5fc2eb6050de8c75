#pragma once

#include "Platform/AssetWriter.h"
#include "Platform/Media/LibavHandles.h"
#include "Platform/Media/OutputFile.h"

#include <QString>

#include <initializer_list>
#include <utility>

// What every MPEG-4 file written here has in common.
namespace tavro::libav {

/// A muxer for `type` that writes into `file`, still without tracks. Throws PlatformError.
OutputContext makeMuxer(OutputFile& file, FileType type);

/// Adds a track of these parameters, its packets' times in `timeBase`. Throws PlatformError.
AVStream* addTrack(AVFormatContext& muxer, const AVCodecParameters& parameters, AVRational timeBase);

/// Writes the file's beginning. Throws PlatformError.
void writeHeader(AVFormatContext& muxer, std::initializer_list<std::pair<const char*, const char*>> options);

} // namespace tavro::libav
