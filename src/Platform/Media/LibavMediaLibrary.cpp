#include "Platform/Media/LibavError.h"
#include "Platform/Media/Media.h"
#include "Platform/Media/TrackCopy.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace tavro {

namespace {

using std::chrono::microseconds;

microseconds inMicroseconds(std::int64_t time, AVRational timeBase) {
    return microseconds(av_rescale_q(time, timeBase, {1, std::micro::den}));
}

// The duration of a fragmented file, which has no index: read all packets.
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

class LibavAsset final : public MediaAsset {
public:
    explicit LibavAsset(std::filesystem::path path) : file(std::move(path)) {
        const auto input = openMediaFile(file);
        for (const MediaType type : {MediaType::video, MediaType::audio}) {
            const AVStream* first = firstTrack(*input, type);
            for (unsigned i = 0; first && i < input->nb_streams; ++i)
                if (input->streams[i]->codecpar->codec_type == first->codecpar->codec_type)
                    ++counts[static_cast<std::size_t>(type)];
            length = std::max(length, trackLength(file, type, first));
        }
    }
    int trackCount(MediaType type) const override { return counts[static_cast<std::size_t>(type)]; }
    microseconds duration() const override { return length; }
    const std::filesystem::path& path() const { return file; }

private:
    const std::filesystem::path file;
    int counts[2] = {};
    microseconds length{0};
};

struct LibavComposition final : MediaComposition {
    struct Track {
        MediaType type;
        std::filesystem::path file;
        microseconds length;
    };

    bool insertTrack(MediaType type, const std::shared_ptr<MediaAsset>& asset, microseconds length) override {
        const auto isOfType = [&](const Track& track) { return track.type == type; };
        if (std::any_of(tracks.begin(), tracks.end(), isOfType))
            return false;
        const auto& source = dynamic_cast<const LibavAsset&>(*asset);
        if (source.trackCount(type) == 0)
            throw libav::error(AVERROR_STREAM_NOT_FOUND);
        tracks.push_back({type, source.path(), length});
        return true;
    }

    std::vector<Track> tracks;
};

class LibavExportSession final : public ExportSession {
public:
    explicit LibavExportSession(std::vector<LibavComposition::Track> list) : tracks(std::move(list)) {}

    Status exportTo(const std::filesystem::path& file) override {
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
    std::exception_ptr error() const override { return failure; }

private:
    const std::vector<LibavComposition::Track> tracks;
    std::exception_ptr failure;
};

class LibavMediaLibrary final : public MediaLibrary {
public:
    std::shared_ptr<MediaAsset> openAsset(const std::filesystem::path& file) override {
        return std::make_shared<LibavAsset>(file);
    }
    std::unique_ptr<MediaComposition> makeComposition() override {
        return std::make_unique<LibavComposition>();
    }
    std::unique_ptr<ExportSession> makeExportSession(const MediaComposition& composition) override {
        const auto& tracks = dynamic_cast<const LibavComposition&>(composition).tracks;
        return tracks.empty() ? nullptr : std::make_unique<LibavExportSession>(tracks);
    }
};

} // namespace

std::unique_ptr<MediaLibrary> makeMediaLibrary() {
    return std::make_unique<LibavMediaLibrary>();
}

} // namespace tavro
