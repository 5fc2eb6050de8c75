#pragma once

#include "Audio/AudioFrame.h"
#include "Platform/Sound.h"

#include <memory>
#include <optional>

namespace tavro {

/// Converts PCM buffers of any format. Buffers of one format are one stream: a few samples may come with the
/// next buffer. One thread at a time.
class PCMConverter {
public:
    /// `factory` outlives the converter.
    explicit PCMConverter(AudioConverterFactory& factory);

    /// Empty when the format is refused or the conversion fails.
    AudioFrame convert(const PCMBufferPtr& buffer);

private:
    AudioConverterFactory& factory;
    const AudioFormat target{AudioFormat::Sample::int16, audioFrameRate, 1, true};
    // For the last source format. Null when that was refused; the next buffer asks again.
    std::unique_ptr<AudioConverter> converter;
    std::optional<AudioFormat> lastSourceFormat;
};

} // namespace tavro
