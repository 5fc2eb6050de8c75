#pragma once

#include "Platform/AssetWriter.h"
#include "Platform/Media/TrackEncoder.h"

#include <cstdint>
#include <vector>

namespace tavro {

/// AAC of mono samples. Times count samples; encoder delay lies before zero.
class AACEncoder final : public TrackEncoder {
public:
    explicit AACEncoder(const AudioSettings& settings);

    TrackDescription open() override;
    void encode(const TrackContent& content, const Output& output) override;
    void drain(const Output& output) override;

private:
    void encodeWholeFrames(const Output& output);
    void encodeFrame(int length, const Output& output);
    void receive(const Output& output);

    const AudioSettings settings;
    libav::CodecContext codec;
    libav::Frame frame;
    std::vector<float> waiting; // less than a frame of samples
    std::int64_t encoded = 0;   // samples given to the encoder
};

} // namespace tavro
