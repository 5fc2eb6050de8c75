#pragma once

#include <QByteArray>
#include <QStringList>

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

// Media files as read by other programs: their boxes, ffprobe and ffmpeg.
namespace tavro::test {

/// Makes an ordinary film of the fragments of a writer. Throws PlatformError.
void complete(const std::filesystem::path& file);

/// Types of the file's top-level boxes, in order.
std::vector<std::string> boxes(const std::filesystem::path& file);

struct Sample {
    std::chrono::microseconds time{0};
    std::chrono::microseconds duration{0};
    bool key = false;
    bool operator==(const Sample&) const = default;
};

struct Track {
    std::string codec; ///< empty without such a track
    std::string profile;
    int width = 0;
    int height = 0;
    int sampleRate = 0;
    int channels = 0;
    bool hasExpectedColours =
        false; ///< tagged BT.709, limited range, chroma in the middle of its four pixels
    std::int64_t bitRate = 0;
    std::vector<Sample> samples;
    std::chrono::microseconds length() const;
};

/// Throws when the file cannot be read.
Track videoTrack(const std::filesystem::path& file);
Track audioTrack(const std::filesystem::path& file);

struct Picture {
    std::chrono::microseconds time{0};
    std::array<std::vector<std::uint8_t>, 3> planes;
};

std::vector<Picture> decodePictures(const std::filesystem::path& file);

/// Standard output of ffmpeg with these arguments. Throws on errors and warnings.
QByteArray ffmpeg(const std::filesystem::path& file, const QStringList& arguments);
/// The sound, mono, at the file's own rate, from the file's time zero.
std::vector<std::int16_t> decodeSound(const std::filesystem::path& file);

double meanDifference(const std::vector<std::uint8_t>& one, const std::vector<std::uint8_t>& other);

} // namespace tavro::test
