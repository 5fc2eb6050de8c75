#include "MediaFiles.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/mathematics.h>
}

#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <numeric>
#include <sstream>
#include <stdexcept>

namespace tavro::test {

namespace {

using std::chrono::microseconds;

struct Close {
    void operator()(AVFormatContext* handle) const { avformat_close_input(&handle); }
    void operator()(AVCodecContext* handle) const { avcodec_free_context(&handle); }
    void operator()(AVPacket* handle) const { av_packet_free(&handle); }
    void operator()(AVFrame* handle) const { av_frame_free(&handle); }
};

void check(int code, const char* doing) {
    if (code >= 0)
        return;
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    throw std::runtime_error(std::string(doing) + ": " + text);
}

// A file opened as a player does it.
struct Reader {
    std::unique_ptr<AVFormatContext, Close> input;
    std::unique_ptr<AVPacket, Close> packet{av_packet_alloc()};

    explicit Reader(const std::filesystem::path& file) {
        AVFormatContext* opened = nullptr;
        check(avformat_open_input(&opened, file.c_str(), nullptr, nullptr), "open");
        input.reset(opened);
        check(avformat_find_stream_info(opened, nullptr), "find_stream_info");
    }
    bool next() {
        av_packet_unref(packet.get());
        const int read = av_read_frame(input.get(), packet.get());
        if (read == AVERROR_EOF)
            return false;
        check(read, "read_frame");
        return true;
    }
    AVStream* stream(AVMediaType type) {
        for (unsigned i = 0; i < input->nb_streams; ++i)
            if (input->streams[i]->codecpar->codec_type == type)
                return input->streams[i];
        return nullptr;
    }
};

microseconds inMicroseconds(std::int64_t time, AVRational base) {
    return microseconds(av_rescale_q(time, base, {1, 1'000'000}));
}

Track readTrack(const std::filesystem::path& file, AVMediaType type) {
    Reader reader(file);
    const AVStream* stream = reader.stream(type);
    Track track;
    if (!stream)
        return track;
    const AVCodecParameters& parameters = *stream->codecpar;
    track.codec = avcodec_get_name(parameters.codec_id);
    if (const char* profile = avcodec_profile_name(parameters.codec_id, parameters.profile))
        track.profile = profile;
    track.width = parameters.width;
    track.height = parameters.height;
    track.sampleRate = parameters.sample_rate;
    track.channels = parameters.ch_layout.nb_channels;
    track.bitRate = parameters.bit_rate;
    track.isBT709 = parameters.color_primaries == AVCOL_PRI_BT709 &&
                    parameters.color_trc == AVCOL_TRC_BT709 && parameters.color_space == AVCOL_SPC_BT709 &&
                    parameters.color_range == AVCOL_RANGE_MPEG;
    while (reader.next())
        if (reader.packet->stream_index == stream->index)
            track.samples.push_back({inMicroseconds(reader.packet->pts, stream->time_base),
                inMicroseconds(reader.packet->duration, stream->time_base),
                (reader.packet->flags & AV_PKT_FLAG_KEY) != 0});
    return track;
}

Picture copy(const AVFrame& frame, AVRational timeBase) {
    Picture picture;
    picture.time = inMicroseconds(frame.pts, timeBase);
    for (int plane = 0; plane < 3; ++plane) {
        const int width = plane == 0 ? frame.width : frame.width / 2;
        const int height = plane == 0 ? frame.height : frame.height / 2;
        auto& pixels = picture.planes[static_cast<std::size_t>(plane)];
        for (int row = 0; row < height; ++row) {
            const std::uint8_t* line = frame.data[plane] + row * frame.linesize[plane];
            pixels.insert(pixels.end(), line, line + width);
        }
    }
    return picture;
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
    return readTrack(file, AVMEDIA_TYPE_VIDEO);
}
Track audioTrack(const std::filesystem::path& file) {
    return readTrack(file, AVMEDIA_TYPE_AUDIO);
}

void decodePictures(const std::filesystem::path& file, const std::function<void(const Picture&)>& receive) {
    Reader reader(file);
    const AVStream* stream = reader.stream(AVMEDIA_TYPE_VIDEO);
    if (!stream)
        throw std::runtime_error("no video");
    const AVCodec* implementation = avcodec_find_decoder(stream->codecpar->codec_id);
    const std::unique_ptr<AVCodecContext, Close> decoder(avcodec_alloc_context3(implementation));
    check(avcodec_parameters_to_context(decoder.get(), stream->codecpar), "parameters");
    decoder->err_recognition = AV_EF_EXPLODE;
    check(avcodec_open2(decoder.get(), implementation, nullptr), "open decoder");
    const std::unique_ptr<AVFrame, Close> frame(av_frame_alloc());
    const auto receiveAll = [&] {
        while (avcodec_receive_frame(decoder.get(), frame.get()) >= 0)
            receive(copy(*frame, stream->time_base));
    };
    while (reader.next()) {
        if (reader.packet->stream_index != stream->index)
            continue;
        check(avcodec_send_packet(decoder.get(), reader.packet.get()), "decode");
        receiveAll();
    }
    check(avcodec_send_packet(decoder.get(), nullptr), "drain");
    receiveAll();
}

std::vector<Picture> decodePictures(const std::filesystem::path& file) {
    std::vector<Picture> pictures;
    decodePictures(file, [&](const Picture& picture) { pictures.push_back(picture); });
    return pictures;
}

// Through the shell: ThreadSanitizer does not bear a fork of this process.
QByteArray ffmpeg(const std::filesystem::path& file, const QStringList& arguments) {
    const auto complaints = std::filesystem::path(file).concat(".complaints");
    const auto command = QStringLiteral("ffmpeg -nostdin -v error -i '%1' %2 - 2>'%3'")
                             .arg(QString::fromStdString(file), arguments.join(QLatin1Char(' ')),
                                 QString::fromStdString(complaints));
    FILE* pipe = ::popen(command.toUtf8().constData(), "r");
    if (!pipe)
        throw std::runtime_error("ffmpeg cannot be started");
    QByteArray output;
    std::array<char, 65'536> part{};
    while (const auto count = std::fread(part.data(), 1, part.size(), pipe))
        output.append(part.data(), static_cast<qsizetype>(count));
    const int status = ::pclose(pipe);
    std::ostringstream said;
    said << std::ifstream(complaints).rdbuf();
    std::filesystem::remove(complaints);
    if (status != 0 || !said.str().empty())
        throw std::runtime_error("ffmpeg: " + said.str());
    return output;
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
