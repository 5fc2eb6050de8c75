#include "Platform/Media/TrackReader.h"

#include "Platform/Media/LibavError.h"

#include <utility>

namespace tavro {

namespace {

AVStream* readOnly(AVFormatContext& input, MediaType type) {
    AVStream* track = firstTrack(input, type);
    if (!track)
        throw libav::error(AVERROR_STREAM_NOT_FOUND);
    for (unsigned i = 0; i < input.nb_streams; ++i)
        input.streams[i]->discard = input.streams[i] == track ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    return track;
}

} // namespace

TrackReader::TrackReader(const std::filesystem::path& file, MediaType type, std::chrono::microseconds length)
    : input(openMediaFile(file))
    , stream(readOnly(*input, type))
    , end(av_rescale_q(length.count(), {1, std::micro::den}, stream->time_base)) {
    readAhead();
}

libav::Packet TrackReader::take() {
    libav::Packet taken = std::move(ahead);
    readAhead();
    // Stored durations may be guesses made during the recording; times of packets are exact.
    taken->duration = (ahead ? ahead->dts : end) - taken->dts;
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
    if (packet->pts < end)
        ahead = std::move(packet);
}

} // namespace tavro
