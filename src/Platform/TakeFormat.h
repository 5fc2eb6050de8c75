#pragma once

#include <chrono>
#include <cstdint>

/// What every take is made of. A size, a rate, a bit depth or a quality is chosen here and nowhere else.
namespace tavro::TakeFormat {

// The picture: H.264 of 4:2:0 YCbCr, 8 bits, BT.709, limited range (see VideoFrame).

inline constexpr int width =
    1920; ///< pixels; what is recorded is scaled to fit, proportions kept, bars black
inline constexpr int height = 1080;
inline constexpr int framesPerSecond = 60; ///< at most, on average
/// A screen that stands still gives a frame this often.
inline constexpr std::chrono::microseconds stillFrameInterval = std::chrono::seconds(1);
inline constexpr std::chrono::microseconds keyFrameInterval = std::chrono::seconds(5); ///< at most

inline constexpr const char* videoPreset = "superfast"; ///< of x264; its rate control is not used

/// Quantizers of H.264, 0 (finest) to 51. Where little changes, key frames are most of what the file holds:
/// more would buy nothing that anybody sees, and what stands would be coded again with every frame finer than
/// the key frame. Frames that follow each other fast are seen for a shorter time and cost more a second.
inline constexpr int quantizer = 16, fastQuantizer = 17, keyFrameQuantizer = 17, stillQuantizer = 20;
/// Beyond this many bytes a second quantizers grow, by at most so much: a film over all of the screen would
/// make a file nobody wants to upload.
inline constexpr double unrestrainedRate = 2e6;
inline constexpr int mostRestraint = 16;

// The sound: AAC of one channel.

using Sample = std::int16_t;                ///< 16 bits, signed
inline constexpr int sampleRate = 16'000;   ///< Hz; microphone and computer sound are converted to it
inline constexpr int audioBitRate = 64'000; ///< bits a second
/// Of the computer's sound as it is captured, Hz; the microphone has the rate of its device.
inline constexpr int computerSoundRate = 48'000;

// The file: MPEG-4, in fragments while it is written.

/// What a killed process loses at most of a busy take, with room for the frames on their way.
inline constexpr std::chrono::microseconds fragmentLength = std::chrono::milliseconds(400);

} // namespace tavro::TakeFormat
