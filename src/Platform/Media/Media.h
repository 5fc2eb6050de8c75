#pragma once

#include "Platform/AssetWriter.h"
#include "Platform/MediaComposition.h"
#include "Platform/Sound.h"

#include <memory>

namespace tavro {

/// Reads, writes and copies H.264 and AAC in MPEG-4 files with the system's libraries.
std::unique_ptr<AssetWriterFactory> makeAssetWriterFactory();
std::unique_ptr<MediaLibrary> makeMediaLibrary();
/// Converts PCM between any two formats. Mixes two channels to one by their mean.
std::unique_ptr<AudioConverterFactory> makeAudioConverterFactory();

} // namespace tavro
