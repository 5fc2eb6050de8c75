#include "Platform/Media/Media.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace tavro::test {
namespace {

constexpr AudioFormat voice{AudioFormat::Sample::int16, 16'000, 1, true};

AudioFormat floats(double rate, std::uint32_t channels) {
    return {AudioFormat::Sample::float32, rate, channels, false};
}

PCMBufferPtr buffer(const AudioFormat& format, std::uint32_t first, std::uint32_t frames, double frequency) {
    auto made = std::make_shared<PCMBuffer>();
    made->format = format;
    made->frameLength = frames;
    made->floatChannels.resize(format.channelCount);
    for (auto& channel : made->floatChannels)
        for (std::uint32_t i = first; i < first + frames; ++i)
            channel.push_back(
                static_cast<float>(0.5 * std::sin(2 * std::numbers::pi * frequency * i / format.sampleRate)));
    return made;
}

std::vector<std::int16_t> convertOne(
    AudioConverter& converter, const PCMBufferPtr& input, std::uint32_t capacity) {
    PCMBuffer output;
    bool fed = false;
    EXPECT_TRUE(converter.convert(output, capacity, [&]() -> AudioConverter::Input {
        if (std::exchange(fed, true))
            return {AudioConverter::InputStatus::noDataNow, nullptr};
        return {AudioConverter::InputStatus::haveData, input};
    }));
    EXPECT_EQ(output.frameLength, output.int16Samples.size());
    return output.int16Samples;
}

class SwrConverterTest : public ::testing::TestWithParam<AudioFormat> {
protected:
    std::unique_ptr<AudioConverterFactory> factory = makeAudioConverterFactory();
};

// The tone has no step between buffers, and only the filter's delay is missing at the end.
TEST_P(SwrConverterTest, BuffersAreOneStream) {
    const auto format = GetParam();
    const auto converter = factory->makeConverter(format, voice);
    ASSERT_TRUE(converter);
    std::vector<std::int16_t> all;
    std::uint32_t first = 0;
    for (const std::uint32_t frames : {480U, 441U, 4'096U, 1U, 960U, 4'096U, 17U, 4'096U}) {
        const auto capacity = static_cast<std::uint32_t>(16'000 / format.sampleRate * frames + 64);
        const auto part = convertOne(*converter, buffer(format, first, frames, 440), capacity);
        EXPECT_LE(part.size(), capacity);
        all.insert(all.end(), part.begin(), part.end());
        first += frames;
    }
    EXPECT_NEAR(static_cast<double>(all.size()), first * 16'000 / format.sampleRate, 32);
    const double swing = 16'384 * 2 * std::numbers::pi * 440 / 16'000; // the tone's steepest step
    for (std::size_t i = 100; i + 1 < all.size(); ++i)
        ASSERT_LT(std::abs(all[i + 1] - all[i]), swing * 1.1) << "at " << i;
    EXPECT_NEAR(*std::max_element(all.begin(), all.end()), 16'384, 400);
}
INSTANTIATE_TEST_SUITE_P(Formats, SwrConverterTest,
    ::testing::Values(floats(48'000, 1), floats(48'000, 2), floats(44'100, 2), floats(96'000, 1),
        floats(16'000, 1), floats(8'000, 1)));

TEST_F(SwrConverterTest, TwoChannelsBecomeTheirMean) {
    auto stereo = std::make_shared<PCMBuffer>();
    stereo->format = floats(16'000, 2);
    stereo->frameLength = 4;
    stereo->floatChannels = {{0.5F, 1.0F, -1.0F, 0.25F}, {0.0F, 1.0F, 1.0F, -0.75F}};
    const auto converter = factory->makeConverter(stereo->format, voice);
    const auto mixed = convertOne(*converter, stereo, 68);
    ASSERT_EQ(mixed.size(), 4U);
    const double expected[] = {0.25, 1.0, 0.0, -0.25};
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_NEAR(mixed[i] / 32'768.0, expected[i], 0.0002);
}

TEST_F(SwrConverterTest, WhatDoesNotFitComesWithTheNextCall) {
    const auto converter = factory->makeConverter(floats(16'000, 1), voice);
    EXPECT_EQ(convertOne(*converter, buffer(floats(16'000, 1), 0, 100, 440), 60).size(), 60U);
    EXPECT_EQ(convertOne(*converter, buffer(floats(16'000, 1), 100, 10, 440), 100).size(), 50U);
}

TEST_F(SwrConverterTest, RefusesWhatIsNoFormatAndABufferOfAnother) {
    EXPECT_FALSE(factory->makeConverter(floats(0, 1), voice));
    EXPECT_FALSE(factory->makeConverter(floats(48'000, 0), voice));
    const auto converter = factory->makeConverter(floats(48'000, 2), voice);
    PCMBuffer output;
    EXPECT_FALSE(converter->convert(output, 100, [&]() -> AudioConverter::Input {
        return {AudioConverter::InputStatus::haveData, buffer(floats(48'000, 1), 0, 480, 440)};
    }));
}

} // namespace
} // namespace tavro::test
