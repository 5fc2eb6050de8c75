#include "Platform/Media/TrackIndex.h"

#include "Platform/Media/LibavError.h"

#include <algorithm>

namespace tavro {

namespace {

AVMediaType inLibav(MediaType type) {
    return type == MediaType::video ? AVMEDIA_TYPE_VIDEO : AVMEDIA_TYPE_AUDIO;
}

// The demuxer goes from fragment to fragment and skips the samples of discarded tracks.
void findAllFragments(AVFormatContext& input) {
    for (unsigned i = 0; i < input.nb_streams; ++i)
        input.streams[i]->discard = AVDISCARD_ALL;
    const libav::Packet packet(av_packet_alloc());
    while (av_read_frame(&input, packet.get()) >= 0)
        av_packet_unref(packet.get());
}

// The duration of a fragmented track includes the encoder's delay, which lies before time zero.
std::int64_t endOf(const AVStream& track) {
    const AVIndexEntry* first = avformat_index_get_entry(const_cast<AVStream*>(&track), 0);
    const bool fragmented = track.nb_frames == 0;
    return track.duration + (fragmented && first ? std::min<std::int64_t>(first->timestamp, 0) : 0);
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

std::optional<TrackIndex> readIndex(const std::filesystem::path& file, MediaType type) {
    const auto input = openMediaFile(file);
    AVStream* track = firstTrack(*input, type);
    if (!track)
        return std::nullopt;
    findAllFragments(*input);
    const std::int64_t fileSize = avio_size(input->pb);
    TrackIndex index;
    std::int64_t end = endOf(*track);
    for (int i = 0; i < avformat_index_get_entries_count(track); ++i) {
        const AVIndexEntry& sample = *avformat_index_get_entry(track, i);
        if (sample.pos + sample.size > fileSize) { // of a process that was killed while it wrote
            end = sample.timestamp;
            break;
        }
        ++index.samples;
        index.keyFrames += (sample.flags & AVINDEX_KEYFRAME) != 0 ? 1 : 0;
        index.bytes += sample.size;
    }
    if (index.samples == 0)
        return std::nullopt;
    index.end = std::chrono::microseconds(av_rescale_q(end, track->time_base, {1, std::micro::den}));
    return index;
}

} // namespace tavro
