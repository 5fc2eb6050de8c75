#include "Platform/Media/FragmentedWriter.h"

#include "Platform/Media/LibavError.h"
#include "Platform/TakeFormat.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <utility>

namespace tavro {

namespace {

constexpr AVRational microsecondBase{1, std::micro::den};

} // namespace

FragmentedWriter::FragmentedWriter(OutputFile& file_, FileType type, const TrackDescription& track)
    : file(file_)
    , timeBase(track.timeBase)
    , lastDuration(inTrackTime(track.lastDuration))
    , fragmentLength(inTrackTime(TakeFormat::fragmentLength))
    , muxer(libav::makeMuxer(file_, type)) {
    stream = libav::addTrack(*muxer, *track.parameters, timeBase);
    // delay_moov: the first packet determines the track's start in the index.
    libav::writeHeader(*muxer, {{"movflags", "frag_custom+empty_moov+default_base_moof+delay_moov"}});
}

std::int64_t FragmentedWriter::inTrackTime(std::chrono::microseconds time) const {
    return av_rescale_q(time.count(), microsecondBase, timeBase);
}

void FragmentedWriter::add(libav::Packet packet) {
    const std::int64_t start = packet->pts;
    if (pending) {
        const std::int64_t duration = start - pending->pts;
        put(std::move(pending), duration);
    }
    if (held && start - fragmentStart >= fragmentLength)
        cut();
    if (const auto duration = packet->duration; duration > 0)
        put(std::move(packet), duration);
    else
        pending = std::move(packet);
}

void FragmentedWriter::put(libav::Packet packet, std::int64_t duration) {
    if (!held)
        fragmentStart = packet->pts;
    // An announcement fits between two packets only if they are not neighbours.
    if (!held && end && *end != packet->pts && packet->pts > lastStart + 1)
        announceGap(packet->pts);
    lastStart = packet->pts;
    end = packet->pts + duration;
    held = true;
    packet->duration = duration;
    write(*packet);
}

// By default the muxer starts a fragment at the previous one's end. The flag takes effect with the next
// packet, so send an empty packet, which the muxer discards.
void FragmentedWriter::announceGap(std::int64_t start) {
    libav::check(av_opt_set(muxer->priv_data, "movflags", "+frag_discont", 0));
    const libav::Packet announcement(av_packet_alloc());
    announcement->pts = announcement->dts = start - 1;
    write(*announcement);
}

void FragmentedWriter::write(AVPacket& packet) {
    packet.stream_index = stream->index;
    av_packet_rescale_ts(&packet, timeBase, stream->time_base);
    libav::check(av_write_frame(muxer.get(), &packet));
}

void FragmentedWriter::cut() {
    held = false;
    endWith([this] {
        const int cut = av_write_frame(muxer.get(), nullptr);
        if (cut < 0 || std::exchange(indexWritten, true))
            return cut;
        return av_write_frame(muxer.get(), nullptr); // the first call writes only the index
    });
    wholeLength = file.position();
}

// Runs `writeOut`. On a failure, truncates the file to the last whole fragment.
void FragmentedWriter::endWith(const std::function<int()>& writeOut) {
    try {
        const int written = writeOut();
        file.flush(); // first, for its more precise error
        libav::check(written);
    } catch (...) {
        file.truncate(wholeLength);
        throw;
    }
}

void FragmentedWriter::flush() {
    if (pending)
        put(std::move(pending), lastDuration);
    if (held)
        cut();
}

void FragmentedWriter::finish() {
    flush();
    endWith([this] { return av_write_trailer(muxer.get()); });
}

} // namespace tavro
