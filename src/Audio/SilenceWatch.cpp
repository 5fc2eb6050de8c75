#include "Audio/SilenceWatch.h"

#include <algorithm>

namespace tavro {

namespace {

bool isZero(const PCMBuffer& buffer) {
    const auto zeros = [](const auto& samples) {
        return std::ranges::all_of(samples, [](auto sample) { return sample == 0; });
    };
    return std::ranges::all_of(buffer.floatChannels, zeros) && zeros(buffer.int16Samples);
}

} // namespace

void SilenceWatch::add(const PCMBuffer& buffer) {
    if (buffer.frameLength == 0)
        return;
    zeros = isZero(buffer) ? zeros + buffer.frameLength / buffer.format.sampleRate : 0;
}

} // namespace tavro
