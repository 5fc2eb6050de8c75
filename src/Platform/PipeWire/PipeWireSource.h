#pragma once

#include "Core/FileDescriptor.h"
#include "Platform/Screen/PictureSource.h"
#include "Platform/ScreenCapture.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace tavro {

/// The pictures of one screen or window that the desktop shares through PipeWire. While the desktop pauses,
/// and after it has stopped, the last picture stays.
///
/// Throws PlatformError "Tavro.PipeWire": 1 PipeWire cannot be reached, 2 the desktop has refused or ended
/// the stream before its first picture, 3 it has not answered in time, 4 the wait for it was given up.
class PipeWireSource final : public PictureSource {
public:
    struct Options {
        /// The sender tells the pointer beside the picture (and it is drawn here), instead of drawing it.
        bool pointerInMetadata = false;
        /// The sender stamps its pictures with the time at which they were on the screen. Some stamp them
        /// with that of the picture before.
        bool tellsTimes = false;
        /// Called at most once, on the capture's thread: after `begin()` the desktop has stopped sharing, or
        /// has paused for some seconds. Pictures that come later are taken all the same.
        std::function<void()> stopped = {};
    };

    /// `remote` is a connection to PipeWire, `node` the sender's id there. Throws (1).
    PipeWireSource(FileDescriptor remote, std::uint32_t node, const StreamConfiguration& configuration,
        std::shared_ptr<CanvasPool> pool, Options options);
    ~PipeWireSource() override;

    /// A desktop whose screen is still may send no picture at first: after some time the first one is black.
    /// Throws (1 to 4).
    void begin(CaptureWait& wait) override;

    int descriptor() const override;
    bool isLost() const override;
    bool takeNews() override;
    void suspectChange() override;
    bool mayHaveChanged() const override;
    bool grab() override;
    std::optional<Clock::time_point> shownAt() const override;
    const std::shared_ptr<Canvas>& picture() const override;
    const PictureRegion& damage() const override;
    void giveBackMemory() override;

private:
    class Impl;
    const std::unique_ptr<Impl> impl;
};

} // namespace tavro
