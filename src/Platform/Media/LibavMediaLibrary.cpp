#include "Platform/Media/LibavError.h"
#include "Platform/Media/Media.h"
#include "Platform/Media/TrackCopy.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace tavro {

namespace {

using std::chrono::microseconds;

class LibavAsset final : public MediaAsset {
public:
    explicit LibavAsset(std::filesystem::path path)
        : file(std::move(path))
        , picture(readIndex(file, MediaType::video))
        , sound(readIndex(file, MediaType::audio)) {}

    int trackCount(MediaType type) const override { return track(type) ? 1 : 0; }
    microseconds duration() const override {
        return std::max(picture.value_or(TrackIndex()).end, sound.value_or(TrackIndex()).end);
    }
    const std::filesystem::path& path() const { return file; }
    const std::optional<TrackIndex>& track(MediaType type) const {
        return type == MediaType::video ? picture : sound;
    }

private:
    const std::filesystem::path file;
    const std::optional<TrackIndex> picture;
    const std::optional<TrackIndex> sound;
};

struct LibavComposition final : MediaComposition {
    bool insertTrack(MediaType type, const std::shared_ptr<MediaAsset>& asset, microseconds length) override {
        const auto isOfType = [&](const TrackSection& track) { return track.type == type; };
        if (std::any_of(tracks.begin(), tracks.end(), isOfType))
            return false;
        const auto& source = dynamic_cast<const LibavAsset&>(*asset);
        if (!source.track(type))
            throw libav::error(AVERROR_STREAM_NOT_FOUND);
        tracks.push_back({source.path(), type, *source.track(type), length});
        return true;
    }

    std::vector<TrackSection> tracks;
};

class LibavExportSession final : public ExportSession {
public:
    explicit LibavExportSession(std::vector<TrackSection> list) : tracks(std::move(list)) {}

    Status exportTo(const std::filesystem::path& file) override {
        try {
            copyTracks(tracks, file, cancelled);
            return Status::completed;
        } catch (...) {
            if (cancelled)
                return Status::cancelled;
            failure = std::current_exception();
            return Status::failed;
        }
    }
    void cancelExport() override { cancelled = true; }
    std::exception_ptr error() const override { return failure; }

private:
    const std::vector<TrackSection> tracks;
    std::atomic<bool> cancelled = false;
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
