#pragma once

#include <qcoro/qcorotask.h>

#include <chrono>
#include <exception>
#include <filesystem>
#include <memory>

namespace tavro {

enum class MediaType { video, audio };

/// A media file opened for reading; of one that was cut short, its whole part. One thread at a time.
class MediaAsset {
public:
    virtual ~MediaAsset() = default;
    virtual int trackCount(MediaType type) const = 0;
    virtual std::chrono::microseconds duration() const = 0;
};

/// Parallel tracks, each a section of an asset's track.
class MediaComposition {
public:
    virtual ~MediaComposition() = default;
    /// Adds [0, length) of the first track of that type in `asset`, at time zero. False when the composition
    /// refuses the track. Throws PlatformError when the asset's track cannot be read.
    virtual bool insertTrack(
        MediaType type, const std::shared_ptr<MediaAsset>& asset, std::chrono::microseconds length) = 0;
};

/// Writes a composition to an MPEG-4 file with the index in front. Copies packets, without encoding. The file
/// is replaced as a whole or not at all; it may be one of the composition's own.
class ExportSession {
public:
    enum class Status { completed, failed, cancelled };
    virtual ~ExportSession() = default;
    virtual Status exportTo(const std::filesystem::path& file) = 0; ///< blocks; never throws
    virtual void cancelExport() = 0;                                ///< any thread; ends `exportTo` early
    virtual std::exception_ptr error() const = 0;                   ///< the platform's error, or null
};

class MediaLibrary {
public:
    virtual ~MediaLibrary() = default;
    /// Throws PlatformError when the file is not a readable media file.
    virtual std::shared_ptr<MediaAsset> openAsset(const std::filesystem::path& file) = 0;
    virtual std::unique_ptr<MediaComposition> makeComposition() = 0;
    virtual std::unique_ptr<ExportSession> makeExportSession(const MediaComposition& composition) = 0;
};

} // namespace tavro
