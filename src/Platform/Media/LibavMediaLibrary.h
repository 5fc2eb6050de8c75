#pragma once

#include "Platform/MediaComposition.h"

#include <vector>

namespace tavro {

class LibavAsset final : public MediaAsset {
public:
    /// Throws PlatformError when the file is not a readable media file.
    explicit LibavAsset(std::filesystem::path file);
    int trackCount(MediaType type) const override { return counts[static_cast<std::size_t>(type)]; }
    std::chrono::microseconds duration() const override { return length; }
    const std::filesystem::path& path() const { return file; }

private:
    const std::filesystem::path file;
    int counts[2] = {};
    std::chrono::microseconds length{0};
};

class LibavComposition final : public MediaComposition {
public:
    struct Track {
        MediaType type;
        std::filesystem::path file;
        std::chrono::microseconds length;
    };
    bool insertTrack(
        MediaType type, const std::shared_ptr<MediaAsset>& asset, std::chrono::microseconds length) override;
    const std::vector<Track>& tracks() const { return list; }

private:
    std::vector<Track> list;
};

class LibavExportSession final : public ExportSession {
public:
    explicit LibavExportSession(std::vector<LibavComposition::Track> tracks);
    Status exportTo(const std::filesystem::path& file) override;
    std::exception_ptr error() const override { return failure; }

private:
    const std::vector<LibavComposition::Track> tracks;
    std::exception_ptr failure;
};

class LibavMediaLibrary final : public MediaLibrary {
public:
    std::shared_ptr<MediaAsset> openAsset(const std::filesystem::path& file) override;
    std::unique_ptr<MediaComposition> makeComposition() override;
    std::unique_ptr<ExportSession> makeExportSession(const MediaComposition& composition) override;
};

} // namespace tavro
