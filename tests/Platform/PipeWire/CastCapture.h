#pragma once

#include "CastSource.h"
#include "Platform/PipeWire/PipeWireSource.h"

#include <functional>

namespace tavro::test {

/// A receiver of a cast, as a capture's thread would use it.
class CastCapture final : public CaptureWait {
public:
    /// Its canvases have this size.
    CastCapture(CastSource& cast, int width, int height, bool pointerInMetadata = false);
    /// Of any node on any connection, which sends nothing.
    CastCapture(FileDescriptor remote, std::uint32_t node);

    /// Begins with this frame, or with none. Throws as PipeWireSource does.
    void begin(const std::optional<CastFrame>& first);
    /// Takes news in until `condition` holds. False after some seconds.
    bool waitUntil(const std::function<bool()>& condition);
    /// Sends a frame, again if it is lost, until the picture is `expected`. False after some seconds.
    bool show(const CastFrame& frame, const CastPicture& expected);

    bool forNews(Clock::time_point limit) override;
    bool forAnswer() override { return true; }

    bool isGivenUp = false;
    int timesStopped = 0;
    PipeWireSource source;

private:
    CastSource* const cast;
    void sendAgain(const CastFrame& frame); // from time to time
    std::optional<CastFrame> first;         // until there is a picture
    Clock::time_point sent{};
};

CastPicture patternOf(int width, int height);
CastPicture partOf(const CastPicture& picture, const Rect& part);
/// The picture with premultiplied `pointer` over it, its top left corner at (`x`, `y`).
CastPicture withPointer(CastPicture picture, const CastPicture& pointer, int x, int y);

/// Whether a canvas shows exactly this picture, as one that is drawn as a whole does.
bool shows(const Canvas& canvas, const CastPicture& picture);

} // namespace tavro::test
