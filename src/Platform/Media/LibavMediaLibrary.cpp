#include "Platform/Media/LibavMediaLibrary.h"

#include "Platform/Media/LibavError.h"
#include "Platform/Media/Media.h"
#include "Platform/Media/TrackCopy.h"

#include <algorithm>
#include <utility>

namespace tavro {

namespace {

using std::chrono::microseconds;

microseconds inMicroseconds(std::int64_t time, AVRational timeBase) {
    return microseconds(av_rescale_q(time, timeBase, {1, std::micro::den}));
}

// A file in fragments has no index that would tell: its packets do.
microseconds readToTheEnd(const std::filesystem::path& file, MediaType type) {
    TrackReader reader(file, type);
    microseconds end{0};
    while (reader.next()) {
        const auto packet = reader.take();
        end = std::max(end, inMicroseconds(packet->pts + packet->duration, reader.timeBase()));
    }
    return end;
}

microseconds trackLength(const std::filesystem::path& file, MediaType type, const AVStream* track) {
    if (!track)
        return microseconds(0);
    if (track->nb_frames == 0)
        return readToTheEnd(file, type);
    return inMicroseconds(track->duration, track->time_base);
}

} // namespace

LibavAsset::LibavAsset(std::filesystem::path path) : file(std::move(path)) {
    const auto input = openMediaFile(file);
    for (const MediaType type : {MediaType::video, MediaType::audio}) {
        const AVStream* first = firstTrack(*input, type);
        for (unsigned i = 0; first && i < input->nb_streams; ++i)
            if (input->streams[i]->codecpar->codec_type == first->codecpar->codec_type)
                ++counts[static_cast<std::size_t>(type)];
        length = std::max(length, trackLength(file, type, first));
    }
}

bool LibavComposition::insertTrack(
    MediaType type, const std::shared_ptr<MediaAsset>& asset, microseconds length) {
    const auto isOfType = [&](const Track& track) { return track.type == type; };
    if (std::any_of(list.begin(), list.end(), isOfType))
        return false;
    const auto& source = dynamic_cast<const LibavAsset&>(*asset);
    if (source.trackCount(type) == 0)
        throw libav::error(AVERROR_STREAM_NOT_FOUND);
    list.push_back({type, source.path(), length});
    return true;
}

LibavExportSession::LibavExportSession(std::vector<LibavComposition::Track> list) : tracks(std::move(list)) {}

ExportSession::Status LibavExportSession::exportTo(const std::filesystem::path& file) {
    try {
        std::vector<std::unique_ptr<TrackReader>> readers;
        for (const auto& track : tracks)
            readers.push_back(std::make_unique<TrackReader>(track.file, track.type, track.length));
        copyTracks(std::move(readers), file, FileType::mpeg4);
        return Status::completed;
    } catch (...) {
        failure = std::current_exception();
        return Status::failed;
    }
}

std::shared_ptr<MediaAsset> LibavMediaLibrary::openAsset(const std::filesystem::path& file) {
    return std::make_shared<LibavAsset>(file);
}

std::unique_ptr<MediaComposition> LibavMediaLibrary::makeComposition() {
    return std::make_unique<LibavComposition>();
}

std::unique_ptr<ExportSession> LibavMediaLibrary::makeExportSession(const MediaComposition& composition) {
    const auto& tracks = dynamic_cast<const LibavComposition&>(composition).tracks();
    return tracks.empty() ? nullptr : std::make_unique<LibavExportSession>(tracks);
}

std::unique_ptr<MediaLibrary> makeMediaLibrary() {
    return std::make_unique<LibavMediaLibrary>();
}

} // namespace tavro
