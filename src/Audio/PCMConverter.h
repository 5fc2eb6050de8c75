#pragma once

#include "Audio/AudioFrame.h"
#include "Platform/Sound.h"

#include <memory>
#include <optional>

namespace tavro {

/// Turns PCM buffers of any form into audio frames. Buffers of one form are converted as one continuous
/// stream: a few samples of each may come with the next. One thread at a time.
class PCMConverter {
public:
    /// `factory` outlives the converter.
    explicit PCMConverter(AudioConverterFactory& factory);

    /// Empty when the form is refused or the conversion fails.
    AudioFrame convert(const PCMBufferPtr& buffer);

private:
    AudioConverterFactory& factory;
    const AudioFormat target{AudioFormat::Sample::int16, audioFrameRate, 1, true};
    // From the last source format; null while that is refused, which is asked for again.
    std::unique_ptr<AudioConverter> converter;
    std::optional<AudioFormat> lastSourceFormat;
};

} // namespace tavro
