#pragma once

#include "Platform/Screen/Canvas.h"
#include "Platform/Screen/PictureFit.h"
#include "Platform/X11/ShmImage.h"
#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11Cursor.h"
#include "Platform/X11/X11Target.h"

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

namespace tavro {

/// Keeps the picture of one target up to date. Used by one capture thread.
class X11Grabber {
public:
    X11Grabber(X11Connection& connection, const ContentFilter& filter,
        const StreamConfiguration& configuration, std::shared_ptr<CanvasPool> pool);

    /// True when something was drawn or has moved.
    bool handle(const xcb_generic_event_t& event);
    /// Marks possible changes without an event. The next grab repeats what has failed.
    void suspectChange();
    bool mayHaveChanged() const;
    /// A grab before this time cannot show anything new. Limits the queries for a pointer that moves
    /// elsewhere.
    std::chrono::steady_clock::time_point notBefore() const;
    /// Resets reported damage, so that the server reports new drawing in the same place before the next grab.
    void listenOn() { target->clearDamage(); }

    /// Makes a new picture with the changes. False without changes or when they cannot be read now. Needs a
    /// free canvas. Throws PlatformError without memory for the target's size.
    bool grab();
    /// Frees canvases unused for a while, and the shared memory when no large grab has needed it for as long.
    void giveBackMemory();

    const std::shared_ptr<Canvas>& picture() const { return canvas; } ///< null before the first
    const PictureRegion& damage() const { return damaged; }           ///< of the last grab, on the canvas

private:
    struct Piece {
        Rect area;
        std::size_t offset = 0;
        int stride = 0;
    };
    void locate();
    void moveTo(const TargetPlace& next);
    void lookAtCursor();
    PictureRegion damagedCanvas() const;
    std::vector<Piece> piecesFor(const PictureRegion& region) const;
    bool fetch(const std::vector<Piece>& pieces);
    void draw(const std::vector<Piece>& pieces);

    X11Connection& connection;
    const std::unique_ptr<X11Target> target;
    X11Cursor cursor;
    const std::chrono::microseconds frameInterval;
    std::chrono::steady_clock::time_point nextLook{}; // at the pointer, when it alone may have changed
    const int width;
    const int height;
    const std::shared_ptr<CanvasPool> pool;

    std::optional<TargetPlace> place; // empty while the target is away, or without memory for its size
    bool isAway = false;              // after the first picture
    bool mustLocate = true;
    bool failed = false; // the last read failed
    bool fitChanged = true;
    PictureFit fit;
    std::unique_ptr<ShmImage> memory;
    std::optional<std::chrono::steady_clock::time_point> lastLarge; // grab, until its memory is freed
    PictureRegion pending;                                          // in the target
    Rect shownCursor;                                               // in the target
    std::shared_ptr<Canvas> canvas;
    PictureRegion damaged;
};

} // namespace tavro
