#pragma once

#include "Core/Errors.h"
#include "Platform/MediaComposition.h"

#include <QStringList>

#include <map>
#include <mutex>
#include <set>
#include <utility>

namespace tavro {

/// Media files given by descriptions. Exports write nothing. Set up before use on another thread.
class FakeMediaLibrary final : public MediaLibrary {
public:
    struct File {
        int videoTracks = 0;
        int audioTracks = 0;
        std::chrono::microseconds duration{0};
    };
    enum class Step {
        insertVideo,       ///< refused
        insertAudio,       ///< refused
        readVideo,         ///< inserting throws `error`
        readAudio,         ///< inserting throws `error`
        makeExportSession, ///< yields none
        exportTo,          ///< ends as failed, with `error`, which may be null
    };

    std::map<std::filesystem::path, File> files; ///< others cannot be opened
    std::set<Step> failing;
    std::exception_ptr error;

    /// Compositions and exports in order: "video 8000000", "audio 7500000", "export out.mp4".
    QStringList calls() const {
        const std::lock_guard lock(mutex);
        return noted;
    }

    std::shared_ptr<MediaAsset> openAsset(const std::filesystem::path& file) override {
        const auto found = files.find(file);
        if (found == files.end())
            throw PlatformError(QStringLiteral("FakeMediaLibrary"), 1, QStringLiteral("no such file"));
        return std::make_shared<Asset>(found->second);
    }
    std::unique_ptr<MediaComposition> makeComposition() override {
        return std::make_unique<Composition>(*this);
    }
    std::unique_ptr<ExportSession> makeExportSession(const MediaComposition&) override {
        return failing.contains(Step::makeExportSession) ? nullptr : std::make_unique<Export>(*this);
    }

private:
    class Asset final : public MediaAsset {
    public:
        explicit Asset(const File& described) : file(described) {}
        int trackCount(MediaType type) const override {
            return type == MediaType::video ? file.videoTracks : file.audioTracks;
        }
        std::chrono::microseconds duration() const override { return file.duration; }

    private:
        const File file;
    };
    class Composition final : public MediaComposition {
    public:
        explicit Composition(FakeMediaLibrary& owner) : library(owner) {}
        bool insertTrack(
            MediaType type, const std::shared_ptr<MediaAsset>&, std::chrono::microseconds length) override {
            const bool video = type == MediaType::video;
            if (library.failing.contains(video ? Step::readVideo : Step::readAudio))
                std::rethrow_exception(library.error);
            if (library.failing.contains(video ? Step::insertVideo : Step::insertAudio))
                return false;
            library.note(QStringLiteral("%1 %2")
                             .arg(video ? QStringLiteral("video") : QStringLiteral("audio"))
                             .arg(length.count()));
            return true;
        }

    private:
        FakeMediaLibrary& library;
    };
    class Export final : public ExportSession {
    public:
        explicit Export(FakeMediaLibrary& owner) : library(owner) {}
        Status exportTo(const std::filesystem::path& file) override {
            library.note(QStringLiteral("export ") + QString::fromStdString(file.filename().string()));
            return library.failing.contains(Step::exportTo) ? Status::failed : Status::completed;
        }
        void cancelExport() override {}
        std::exception_ptr error() const override {
            return library.failing.contains(Step::exportTo) ? library.error : nullptr;
        }

    private:
        FakeMediaLibrary& library;
    };

    void note(const QString& call) {
        const std::lock_guard lock(mutex);
        noted << call;
    }

    mutable std::mutex mutex;
    QStringList noted;
};

} // namespace tavro
