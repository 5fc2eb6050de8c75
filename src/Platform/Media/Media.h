#pragma once

#include "Platform/AssetWriter.h"
#include "Platform/MediaComposition.h"
#include "Platform/Sound.h"

#include <memory>

namespace tavro {

/// H.264 and AAC in MPEG-4 files, read, written and copied with the libraries of this machine.
std::unique_ptr<AssetWriterFactory> makeAssetWriterFactory();
std::unique_ptr<MediaLibrary> makeMediaLibrary();
/// PCM between any two formats. Two channels become one as their mean.
std::unique_ptr<AudioConverterFactory> makeAudioConverterFactory();

} // namespace tavro
