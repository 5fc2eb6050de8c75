#pragma once

#include "Platform/Media/LibavHandles.h"
#include "Platform/Sound.h"

namespace tavro {

/// Sample rate, sample format and channel count in one step, as one continuous stream.
class SwrConverter final : public AudioConverter {
public:
    /// Null when the formats make no conversion.
    static std::unique_ptr<SwrConverter> make(const AudioFormat& from, const AudioFormat& to);

    bool convert(PCMBuffer& output, std::uint32_t capacity, const std::function<Input()>& input) override;

private:
    SwrConverter(libav::Resampler handle, const AudioFormat& from, const AudioFormat& to);
    bool run(PCMBuffer& output, std::uint32_t capacity, const PCMBuffer* input);

    const libav::Resampler resampler;
    const AudioFormat source;
    const AudioFormat target;
};

} // namespace tavro
