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

/// Keeps the picture of one target up to date, on one canvas after the other. Belongs to one capture thread.
class X11Grabber {
public:
    X11Grabber(X11Connection& connection, const ContentFilter& filter,
        const StreamConfiguration& configuration, std::shared_ptr<CanvasPool> pool);

    /// Takes note of what has happened. True when something has been drawn or has moved.
    bool handle(const xcb_generic_event_t& event);
    /// Notes that there may be changes of which the server has not told.
    void suspectChange();
    bool mayHaveChanged() const;
    /// Lets the server tell of further drawing in what is old already, before that can be taken.
    void listenOn() { target->clearDamage(); }

    /// Takes what has changed into a new picture. False when nothing has, or it cannot be read now. There
    /// must be a canvas. Throws PlatformError when there is no memory for pictures of the target's size.
    bool grab();
    /// Gives back the memory of canvases that have not been needed for a while, and, once large parts of the
    /// picture have stopped changing, what those needed.
    void giveBackMemory();

    const std::shared_ptr<Canvas>& picture() const { return canvas; } ///< null before the first
    const PictureRegion& damage() const { return damaged; }           ///< of the last grab, on the canvas

private:
    // Pixels of the target, in the shared memory.
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
    std::vector<Piece> linesFor(const PictureRegion& region) const;
    bool fetch(const std::vector<Piece>& pieces);
    void draw(const std::vector<Piece>& pieces);

    X11Connection& connection;
    const std::unique_ptr<X11Target> target;
    X11Cursor cursor;
    const int width;
    const int height;
    const std::shared_ptr<CanvasPool> pool;

    std::optional<TargetPlace> place; // nothing while the target is away
    bool mustLocate = true;
    bool failed = false; // to read the pixels, the last time
    bool fitChanged = true;
    PictureFit fit;
    std::unique_ptr<ShmImage> memory;
    std::optional<std::chrono::steady_clock::time_point> lastLarge; // grab, while its memory is held
    PictureRegion pending;                                          // in the target
    Rect shownCursor;                                               // in the target
    std::shared_ptr<Canvas> canvas;
    PictureRegion damaged;
};

} // namespace tavro
