#include "Platform/Media/TrackReader.h"

#include "Platform/Media/LibavError.h"

#include <algorithm>
#include <utility>

namespace tavro {

namespace {

AVMediaType inLibav(MediaType type) {
    return type == MediaType::video ? AVMEDIA_TYPE_VIDEO : AVMEDIA_TYPE_AUDIO;
}

AVStream* readOnly(AVFormatContext& input, MediaType type) {
    AVStream* track = firstTrack(input, type);
    if (!track)
        throw libav::error(AVERROR_STREAM_NOT_FOUND);
    for (unsigned i = 0; i < input.nb_streams; ++i)
        input.streams[i]->discard = input.streams[i] == track ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    return track;
}

} // namespace

libav::InputContext openMediaFile(const std::filesystem::path& file) {
    AVFormatContext* input = nullptr;
    libav::check(avformat_open_input(&input, ("file:" + file.string()).c_str(), nullptr, nullptr));
    return libav::InputContext(input);
}

AVStream* firstTrack(const AVFormatContext& input, MediaType type) {
    const auto last = input.streams + input.nb_streams;
    const auto found = std::find_if(input.streams, last,
        [&](const AVStream* stream) { return stream->codecpar->codec_type == inLibav(type); });
    return found != last ? *found : nullptr;
}

TrackReader::TrackReader(
    const std::filesystem::path& file, MediaType type, std::optional<std::chrono::microseconds> length)
    : input(openMediaFile(file))
    , stream(readOnly(*input, type)) {
    if (length)
        end = av_rescale_q(length->count(), {1, std::micro::den}, stream->time_base);
    readAhead();
}

libav::Packet TrackReader::take() {
    libav::Packet taken = std::move(ahead);
    readAhead();
    // Stored durations may be guesses made during the recording; times of packets are exact.
    if (ahead)
        taken->duration = ahead->dts - taken->dts;
    else if (end)
        taken->duration = *end - taken->pts;
    else if (taken->duration <= 0) // in a fragmented file
        taken->duration = std::max<std::int64_t>(stream->duration - taken->pts, 0);
    return taken;
}

void TrackReader::readAhead() {
    libav::Packet packet(av_packet_alloc());
    for (;;) {
        const int read = av_read_frame(input.get(), packet.get());
        if (read == AVERROR_EOF)
            return;
        libav::check(read);
        if (packet->stream_index == stream->index)
            break;
        av_packet_unref(packet.get());
    }
    if (!end || packet->pts < *end)
        ahead = std::move(packet);
}

} // namespace tavro
