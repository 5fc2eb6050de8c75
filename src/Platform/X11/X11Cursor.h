#pragma once

#include "Platform/Screen/PixelView.h"
#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11Target.h"

#include <optional>

namespace tavro {

/// Position and image of the pointer over a target. Follows X events, so a resting pointer costs nothing.
class X11Cursor {
public:
    explicit X11Cursor(X11Connection& connection);

    /// True when the event concerns the pointer.
    bool handle(const xcb_generic_event_t& event);
    bool mayHaveChanged() const { return moved || imageChanged; }
    void suspectMotion() { moved = true; }

    /// Queries the server for changes. True when there are any.
    bool update(const X11Target& target, const TargetPlace& place);

    /// In target coordinates, possibly outside the target; empty when the pointer is on another screen.
    Rect area() const;
    void drawInto(const PixelView& view) const; ///< `view` shows the target

private:
    X11Connection& connection;
    bool moved = true;
    bool imageChanged = true;
    CursorImage image;
    bool isThere = false; ///< on this screen
    int x = 0;            ///< of the hot spot, in the target
    int y = 0;
};

} // namespace tavro
