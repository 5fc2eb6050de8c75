#include "Platform/Media/TrackCopy.h"

#include "Core/Files.h"
#include "Platform/Media/LibavError.h"
#include "Platform/Media/Muxing.h"

namespace tavro {

namespace {

// Unit of the index's durations: precise enough for sound, and half a day fits into 32 bits.
constexpr const char* movieTimescale = "90000";

struct Track {
    std::unique_ptr<TrackReader> reader;
    AVStream* stream;
};

Track* earliest(std::vector<Track>& tracks) {
    Track* first = nullptr;
    for (Track& track : tracks) {
        const AVPacket* packet = track.reader->next();
        if (!packet)
            continue;
        if (!first || av_compare_ts(packet->dts, track.reader->timeBase(), first->reader->next()->dts,
                          first->reader->timeBase()) < 0)
            first = &track;
    }
    return first;
}

void write(
    std::vector<std::unique_ptr<TrackReader>> readers, const std::filesystem::path& path, FileType type) {
    OutputFile file(path);
    const auto muxer = libav::makeMuxer(file, type);
    std::vector<Track> tracks;
    for (auto& reader : readers) {
        AVStream* stream = libav::addTrack(*muxer, reader->parameters(), reader->timeBase());
        tracks.push_back({std::move(reader), stream});
    }
    libav::writeHeader(*muxer, {{"movflags", "faststart"}, {"movie_timescale", movieTimescale}});
    while (Track* track = earliest(tracks)) {
        const libav::Packet packet = track->reader->take();
        packet->stream_index = track->stream->index;
        packet->pos = -1;
        av_packet_rescale_ts(packet.get(), track->reader->timeBase(), track->stream->time_base);
        libav::check(av_write_frame(muxer.get(), packet.get()));
    }
    libav::check(av_write_trailer(muxer.get()));
    file.sync();
}

} // namespace

void copyTracks(
    std::vector<std::unique_ptr<TrackReader>> tracks, const std::filesystem::path& file, FileType type) {
    const auto unfinished = std::filesystem::path(file).concat(Files::unfinishedSuffix);
    try {
        write(std::move(tracks), unfinished, type);
        std::filesystem::rename(unfinished, file);
    } catch (...) {
        Files::remove(unfinished);
        throw;
    }
}

} // namespace tavro
