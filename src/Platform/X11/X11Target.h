#pragma once

#include "Platform/ScreenCapture.h"
#include "Platform/X11/X11Connection.h"

#include <memory>
#include <optional>
#include <xcb/damage.h>

namespace tavro {

/// Where a target's pixels can be read now.
struct TargetPlace {
    xcb_drawable_t drawable = 0;
    Rect area;       ///< of the drawable
    int originX = 0; ///< the target's top left corner in the coordinates of the window that is watched
    int originY = 0;
    bool operator==(const TargetPlace&) const = default;
};

/// A display or a window as the X server has it: tells what is drawn in it and where it is to be read.
/// Belongs to one capture thread.
class X11Target {
public:
    static std::unique_ptr<X11Target> make(X11Connection& connection, const ContentFilter& filter);
    virtual ~X11Target();
    X11Target(const X11Target&) = delete;
    X11Target& operator=(const X11Target&) = delete;

    const QString& name() const { return label; } ///< for the log, e.g. "display 66"
    xcb_window_t watchedWindow() const { return watched; }

    /// Asks the server. Nothing while the target is not there or not shown; another place when the pixels of
    /// the one before are no longer the target's.
    virtual std::optional<TargetPlace> locate() = 0;
    /// Whether the event tells of something that makes it necessary to locate the target anew.
    virtual bool isMovedBy(const xcb_generic_event_t& event) = 0;

    /// What has been drawn, in coordinates of `place`, when the event tells that.
    std::optional<Rect> damageIn(const xcb_generic_event_t& event, const TargetPlace& place) const;
    /// Starts collecting damage anew. What was told before is in the pixels read after this.
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
