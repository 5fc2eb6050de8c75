#pragma once

#include <chrono>
#include <cstdint>

/// The format of every take. Sizes, rates, bit depths and qualities are defined only here.
namespace tavro::TakeFormat {

// The picture: H.264 of 4:2:0 YCbCr, 8 bits, BT.709, limited range (see VideoFrame).

inline constexpr int width = 1920; ///< pixels; the source is scaled to fit, proportions kept, bars black
inline constexpr int height = 1080;
inline constexpr int framesPerSecond = 60; ///< on average, at most
/// Interval of the frames of an unchanging screen.
inline constexpr std::chrono::microseconds stillFrameInterval = std::chrono::seconds(1);
inline constexpr std::chrono::microseconds keyFrameInterval = std::chrono::seconds(5); ///< at most

inline constexpr const char* videoPreset = "superfast"; ///< of x264, without its rate control

/// H.264 quantizers, 0 (finest) to 51. `stillQuantizer` is for small changes and their key frames, most of a
/// file: finer ones show no gain, and frames finer than their key frame code unchanged parts again. Fast
/// frames are seen for a shorter time and cost more bytes a second.
inline constexpr int quantizer = 16, fastQuantizer = 17, keyFrameQuantizer = 17, stillQuantizer = 20;
/// Above this many bytes a second quantizers grow, so that full-screen films stay small enough to upload.
inline constexpr double unrestrainedRate = 2e6;
inline constexpr int mostRestraint = 16;

// The sound: AAC of one channel.

using Sample = std::int16_t;                ///< 16 bits, signed
inline constexpr int sampleRate = 16'000;   ///< Hz; microphone and computer sound are converted to it
inline constexpr int audioBitRate = 64'000; ///< bits a second
/// Capture rate of the computer's sound, Hz; the microphone uses the rate of its device.
inline constexpr int computerSoundRate = 48'000;

// The file: MPEG-4, in fragments while it is written.

/// Most that a killed process loses of a busy take, apart from frames in transit.
inline constexpr std::chrono::microseconds fragmentLength = std::chrono::milliseconds(400);

} // namespace tavro::TakeFormat
