#include "MediaFiles.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <numeric>
#include <sstream>
#include <stdexcept>

namespace tavro::test {

namespace {

using std::chrono::microseconds;

// Runs a command that reads `file`; its standard output. Throws when it complains. Through the shell:
// ThreadSanitizer does not bear a fork of this process.
QByteArray outputOf(const QString& command, const std::filesystem::path& file) {
    const auto complaints = std::filesystem::path(file).concat(".complaints");
    const auto redirected = QStringLiteral("%1 2>'%2'").arg(command, QString::fromStdString(complaints));
    FILE* pipe = ::popen(redirected.toUtf8().constData(), "r");
    if (!pipe)
        throw std::runtime_error("no shell");
    QByteArray output;
    std::array<char, 65'536> part{};
    while (const auto count = std::fread(part.data(), 1, part.size(), pipe))
        output.append(part.data(), static_cast<qsizetype>(count));
    const int status = ::pclose(pipe);
    std::ostringstream said;
    said << std::ifstream(complaints).rdbuf();
    std::filesystem::remove(complaints);
    if (status != 0 || !said.str().empty())
        throw std::runtime_error(command.toStdString() + ": " + said.str());
    return output;
}

Track readTrack(const std::filesystem::path& file, const QString& stream) {
    const auto answer = QJsonDocument::fromJson(outputOf(
        QStringLiteral("ffprobe -v error -select_streams %1 -show_streams -show_packets -of json '%2'")
            .arg(stream, QString::fromStdString(file)),
        file));
    const QJsonObject described = answer[u"streams"][0].toObject();
    const auto text = [&](const char* key) { return described[QLatin1String(key)].toString(); };
    Track track;
    if (described.isEmpty())
        return track;
    track.codec = text("codec_name").toStdString();
    track.profile = text("profile").toStdString();
    track.width = described[u"width"].toInt();
    track.height = described[u"height"].toInt();
    track.sampleRate = text("sample_rate").toInt();
    track.channels = described[u"channels"].toInt();
    track.bitRate = text("bit_rate").toLongLong();
    track.isBT709 = text("color_range") == u"tv";
    for (const char* kind : {"color_primaries", "color_transfer", "color_space"})
        track.isBT709 = track.isBT709 && text(kind) == u"bt709";

    const QStringList base = text("time_base").split(u'/');
    const double unit = 1e6 * base.value(0).toDouble() / base.value(1).toDouble();
    const QJsonArray packets = answer[u"packets"].toArray();
    for (const auto& entry : packets) {
        const QJsonObject packet = entry.toObject();
        const auto time = [&](const char* key) {
            return microseconds(std::llround(packet[QLatin1String(key)].toDouble() * unit));
        };
        track.samples.push_back(
            {time("pts"), time("duration"), packet[u"flags"].toString().startsWith(u'K')});
    }
    return track;
}

} // namespace

std::vector<std::string> boxes(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::vector<std::string> kinds;
    const auto number = [&](int bytes) {
        std::uint64_t value = 0;
        for (int i = 0; i < bytes; ++i)
            value = value << 8 | static_cast<std::uint8_t>(stream.get());
        return value;
    };
    while (stream.peek() != std::char_traits<char>::eof()) {
        const auto start = stream.tellg();
        std::uint64_t size = number(4);
        std::string kind(4, ' ');
        stream.read(kind.data(), 4);
        if (size == 1)
            size = number(8);
        if (!stream || size < 8)
            break;
        kinds.push_back(kind);
        stream.seekg(start + static_cast<std::streamoff>(size));
    }
    return kinds;
}

microseconds Track::length() const {
    return samples.empty() ? microseconds(0) : samples.back().time + samples.back().duration;
}

Track videoTrack(const std::filesystem::path& file) {
    return readTrack(file, QStringLiteral("v:0"));
}
Track audioTrack(const std::filesystem::path& file) {
    return readTrack(file, QStringLiteral("a:0"));
}

std::vector<Picture> decodePictures(const std::filesystem::path& file) {
    const Track track = videoTrack(file);
    const auto bytes = ffmpeg(file,
        QStringLiteral("-map 0:v -fps_mode passthrough -enc_time_base 1/1000000 -f rawvideo -pix_fmt yuv420p")
            .split(u' '));
    const auto size = static_cast<std::ptrdiff_t>(track.width) * track.height;
    std::vector<Picture> pictures;
    auto at = bytes.begin();
    for (const Sample& sample : track.samples) {
        if (bytes.end() - at < size * 3 / 2)
            break;
        Picture picture{sample.time, {}};
        for (auto& plane : picture.planes) {
            const auto count = &plane == picture.planes.data() ? size : size / 4;
            plane.assign(at, at + count);
            at += count;
        }
        pictures.push_back(std::move(picture));
    }
    if (pictures.size() != track.samples.size() || at != bytes.end())
        throw std::runtime_error("other pictures than the file tells of");
    return pictures;
}

QByteArray ffmpeg(const std::filesystem::path& file, const QStringList& arguments) {
    return outputOf(QStringLiteral("ffmpeg -nostdin -v error -xerror -err_detect explode -i '%1' %2 -")
                        .arg(QString::fromStdString(file), arguments.join(u' ')),
        file);
}

std::vector<std::int16_t> decodeSound(const std::filesystem::path& file) {
    const auto bytes = ffmpeg(file, {QStringLiteral("-map"), QStringLiteral("0:a"), QStringLiteral("-ac"),
                                        QStringLiteral("1"), QStringLiteral("-f"), QStringLiteral("s16le")});
    std::vector<std::int16_t> samples(static_cast<std::size_t>(bytes.size()) / 2);
    std::memcpy(samples.data(), bytes.constData(), samples.size() * 2);
    return samples;
}

double meanDifference(const std::vector<std::uint8_t>& one, const std::vector<std::uint8_t>& other) {
    if (one.size() != other.size() || one.empty())
        return 255;
    return std::transform_reduce(one.begin(), one.end(), other.begin(), 0.0, std::plus<>(),
               [](std::uint8_t a, std::uint8_t b) { return std::abs(int{a} - int{b}); }) /
           static_cast<double>(one.size());
}

} // namespace tavro::test
