#include "MediaFiles.h"

#include "Platform/Media/Media.h"

#include "support/Programs.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>
#include <cstring>
#include <fstream>
#include <numeric>
#include <stdexcept>

namespace tavro::test {

namespace {

using std::chrono::microseconds;

// Output of a media program for a file. Throws on errors and warnings.
QByteArray readBy(const QString& program, const QString& options, const std::filesystem::path& file,
    const QStringList& more = {}) {
    const Ended ended = run(program, options.split(u' ') + QStringList{QString::fromStdString(file)} + more);
    if (ended.exitCode != 0 || !ended.complaints.isEmpty())
        throw std::runtime_error(program.toStdString() + ": " + ended.complaints.toStdString());
    return ended.output;
}

Track readTrack(const std::filesystem::path& file, const QString& stream) {
    const auto answer = QJsonDocument::fromJson(readBy(QStringLiteral("ffprobe"),
        QStringLiteral("-v error -select_streams %1 -show_streams -show_packets -of json").arg(stream),
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
    track.hasExpectedColours = text("color_range") == u"tv" && text("chroma_location") == u"center";
    for (const char* kind : {"color_primaries", "color_transfer", "color_space"})
        track.hasExpectedColours = track.hasExpectedColours && text(kind) == u"bt709";

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

void complete(const std::filesystem::path& file) {
    const auto library = makeMediaLibrary();
    const auto asset = library->openAsset(file);
    const auto composition = library->makeComposition();
    const auto type = asset->trackCount(MediaType::video) > 0 ? MediaType::video : MediaType::audio;
    composition->insertTrack(type, asset, asset->duration());
    const auto session = library->makeExportSession(*composition);
    if (session->exportTo(file) != ExportSession::Status::completed)
        std::rethrow_exception(session->error());
}

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
    return readBy(QStringLiteral("ffmpeg"),
        QStringLiteral("-nostdin -v error -xerror -err_detect explode -i"), file,
        arguments + QStringList{QStringLiteral("-")});
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
