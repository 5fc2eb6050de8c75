#pragma once

#include "Platform/AssetWriter.h"
#include "Platform/Media/LibavHandles.h"
#include "Platform/Media/OutputFile.h"

#include <QString>

#include <initializer_list>
#include <utility>

// Common steps of writing MPEG-4 files. All functions throw PlatformError.
namespace tavro::libav {

OutputContext makeMuxer(OutputFile& file, FileType type);

AVStream* addTrack(AVFormatContext& muxer, const AVCodecParameters& parameters, AVRational timeBase);

void writeHeader(AVFormatContext& muxer, std::initializer_list<std::pair<const char*, const char*>> options);

} // namespace tavro::libav
