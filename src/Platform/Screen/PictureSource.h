#pragma once

#include "Platform/Screen/Canvas.h"

#include <chrono>
#include <memory>
#include <optional>

namespace tavro {

/// How a source sleeps on its capture's thread.
class CaptureWait {
public:
    using Clock = std::chrono::steady_clock;
    virtual ~CaptureWait() = default;

    /// Until the source's descriptor is readable, at most until `limit`. False when the capture is to end.
    virtual bool forNews(Clock::time_point limit) = 0;
    /// While an answer is missing; repeats the last picture meanwhile. Returns when data may have come; false
    /// gives the answer up.
    virtual bool forAnswer() = 0;
};

/// Where one capture gets its pictures from. Made, used and destroyed on the capture's thread.
class PictureSource {
public:
    using Clock = std::chrono::steady_clock;
    virtual ~PictureSource() = default;

    /// Makes the first picture. Throws PlatformError when there is none. `wait` outlives this object.
    virtual void begin(CaptureWait& wait) = 0;

    virtual int descriptor() const = 0; ///< readable when there is news
    virtual bool isLost() const = 0;    ///< no news will come any more: the last picture stays
    virtual void flush() {}             ///< called before each sleep

    /// Takes in what has arrived, without waiting. True when something was drawn or has moved.
    virtual bool takeNews() = 0;
    /// Called after news that cannot be grabbed yet.
    virtual void listenOn() {}
    /// Called once a second on a still screen: marks possible changes that come without news.
    virtual void suspectChange() {}
    virtual bool mayHaveChanged() const = 0;
    /// A grab before this time cannot show anything new.
    virtual Clock::time_point notBefore() const { return {}; }
    /// The time from the first news of a picture to its last.
    virtual Clock::duration settleTime() const { return {}; }

    /// Makes a new picture with the changes. False without changes or when they cannot be read now. Needs a
    /// canvas that can be taken. Throws PlatformError.
    virtual bool grab() = 0;
    /// When the last grab's picture was on the screen; none where that is not told: then it is new.
    virtual std::optional<Clock::time_point> shownAt() const { return std::nullopt; }
    virtual const std::shared_ptr<Canvas>& picture() const = 0; ///< null before the first
    virtual const PictureRegion& damage() const = 0;            ///< of the last grab, on the canvas
    /// Frees memory unused for a while.
    virtual void giveBackMemory() = 0;
};

} // namespace tavro
