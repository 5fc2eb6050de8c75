#include "Audio/PCMConverter.h"

#include <utility>

namespace tavro {

namespace {

constexpr double spareFrames = 64; // of the output: the converter may hold samples back

} // namespace

PCMConverter::PCMConverter(AudioConverterFactory& converters) : factory(converters) {}

AudioFrame PCMConverter::convert(const PCMBufferPtr& buffer) {
    const AudioFormat& source = buffer->format;
    if (!converter || lastSourceFormat != source) {
        converter = factory.makeConverter(source, target);
        lastSourceFormat = source;
    }
    if (!converter)
        return {};

    PCMBuffer output;
    output.format = target;
    const auto capacity =
        static_cast<std::uint32_t>(target.sampleRate / source.sampleRate * buffer->frameLength + spareFrames);
    bool fed = false;
    const auto input = [&]() -> AudioConverter::Input {
        if (std::exchange(fed, true))
            return {AudioConverter::InputStatus::noDataNow, nullptr};
        return {AudioConverter::InputStatus::haveData, buffer};
    };
    if (!converter->convert(output, capacity, input) || output.int16Samples.size() < output.frameLength)
        return {};
    output.int16Samples.resize(output.frameLength);
    return std::move(output.int16Samples);
}

} // namespace tavro
