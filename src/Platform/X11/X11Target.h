#pragma once

#include "Platform/ScreenCapture.h"
#include "Platform/X11/X11Connection.h"

#include <memory>
#include <optional>
#include <xcb/damage.h>

namespace tavro {

/// Where the target's pixels can be read now.
struct TargetPlace {
    xcb_drawable_t drawable = 0;
    Rect area;       ///< in the drawable
    int originX = 0; ///< the target's top left corner in the watched window
    int originY = 0;
    bool operator==(const TargetPlace&) const = default;
};

/// A display or a window on the X server: its place and its damage. Used by one capture thread.
class X11Target {
public:
    static std::unique_ptr<X11Target> make(X11Connection& connection, const ContentFilter& filter);
    virtual ~X11Target();
    X11Target(const X11Target&) = delete;
    X11Target& operator=(const X11Target&) = delete;

    const QString& name() const { return label; } ///< for the log, e.g. "display 66"
    xcb_window_t watchedWindow() const { return watched; }

    /// Queries the server. Empty while the target is missing or hidden; changes when its pixels move.
    virtual std::optional<TargetPlace> locate() = 0;
    /// True when the event requires a new `locate()`.
    virtual bool isMovedBy(const xcb_generic_event_t& event) = 0;

    /// The damage that the event reports, in coordinates of `place`; empty for other events.
    std::optional<Rect> damageIn(const xcb_generic_event_t& event, const TargetPlace& place) const;
    /// Resets damage. Pixels read afterwards contain all damage reported before.
    void clearDamage();

protected:
    X11Target(X11Connection& connection, xcb_window_t watched, QString name);

    X11Connection& connection;
    const xcb_window_t watched;

private:
    const QString label;
    const xcb_damage_damage_t damage;
};

} // namespace tavro
