#pragma once

#include "Platform/Screen/PixelView.h"
#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11Target.h"

#include <optional>

namespace tavro {

/// The mouse pointer over a target: where it is, what it looks like, and when that changes. The server tells
/// of it, so nothing is asked while the pointer rests.
class X11Cursor {
public:
    explicit X11Cursor(X11Connection& connection);

    /// Takes note of what an event tells. True when it is about the pointer.
    bool handle(const xcb_generic_event_t& event);
    bool mayHaveChanged() const { return moved || imageChanged; }
    void suspectMotion() { moved = true; }

    /// Asks for what may have changed. True when something has.
    bool update(const X11Target& target, const TargetPlace& place);

    /// Where it lies in the target's coordinates, perhaps outside; empty when it is nowhere.
    Rect area() const;
    void drawInto(const PixelView& view) const; ///< the view's picture is the target's

private:
    X11Connection& connection;
    bool moved = true;
    bool imageChanged = true;
    CursorImage image;
    bool isThere = false; ///< on this screen
    int x = 0;            ///< of the point that points, in the target
    int y = 0;
};

} // namespace tavro
