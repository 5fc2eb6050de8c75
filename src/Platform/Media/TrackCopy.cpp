#include "Platform/Media/TrackCopy.h"

#include "Core/Files.h"
#include "Platform/Media/LibavError.h"
#include "Platform/Media/Muxing.h"
#include "Platform/Media/TrackReader.h"

#include <algorithm>
#include <string>
#include <vector>

namespace tavro {

namespace {

// Unit of the index's durations: precise enough for sound, and half a day fits into 32 bits.
constexpr const char* movieTimescale = "90000";
// The disk works while packets are copied: the wait at the end is short.
constexpr std::int64_t syncStep = 8 << 20; // bytes

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

// Most bytes of the index: the muxer fills the rest with a free box. A chunk is a run of packets of one
// track, at most a megabyte long, and two in succession are longer than that.
std::int64_t roomForIndex(std::span<const TrackSection> tracks) {
    constexpr std::int64_t forEachFile = 2048, forEachTrack = 2048;
    constexpr std::int64_t duration = 8, size = 4, key = 4,
                           chunk = 12 + 8; // entries of stts, stsz, stss; stsc and co64
    std::int64_t fewest = tracks.size() > 1 ? tracks.front().index.samples : 0;
    for (const TrackSection& track : tracks)
        fewest = std::min(fewest, track.index.samples);
    std::int64_t room = forEachFile;
    for (const auto& [file, type, index, length] : tracks) {
        const std::int64_t chunks = std::min(index.samples, 4 + fewest + 2 * (index.bytes >> 20));
        room += forEachTrack + index.samples * (duration + size) + index.keyFrames * key + chunks * chunk;
    }
    return room;
}

void write(std::span<const TrackSection> sections, const std::filesystem::path& path,
    const std::atomic<bool>& cancelled) {
    OutputFile file(path);
    const auto muxer = libav::makeMuxer(file, FileType::mpeg4);
    std::vector<Track> tracks;
    for (const TrackSection& section : sections) {
        auto reader = std::make_unique<TrackReader>(section.file, section.type, section.length);
        AVStream* stream = libav::addTrack(*muxer, reader->parameters(), reader->timeBase());
        tracks.push_back({std::move(reader), stream});
    }
    libav::writeHeader(*muxer,
        {{"moov_size", std::to_string(roomForIndex(sections)).c_str()}, {"movie_timescale", movieTimescale}});
    std::int64_t syncStarted = 0;
    while (Track* track = earliest(tracks)) {
        if (cancelled)
            throw libav::error(AVERROR_EXIT);
        const libav::Packet packet = track->reader->take();
        packet->stream_index = track->stream->index;
        packet->pos = -1;
        av_packet_rescale_ts(packet.get(), track->reader->timeBase(), track->stream->time_base);
        libav::check(av_write_frame(muxer.get(), packet.get()));
        if (file.position() - syncStarted >= syncStep) {
            file.startSync();
            syncStarted = file.position();
        }
    }
    libav::check(av_write_trailer(muxer.get()));
    file.sync();
}

} // namespace

void copyTracks(std::span<const TrackSection> tracks, const std::filesystem::path& file,
    const std::atomic<bool>& cancelled) {
    const auto unfinished = std::filesystem::path(file).concat(Files::unfinishedSuffix);
    try {
        write(tracks, unfinished, cancelled);
        std::filesystem::rename(unfinished, file);
    } catch (...) {
        Files::remove(unfinished);
        throw;
    }
}

} // namespace tavro
