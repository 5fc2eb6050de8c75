#pragma once

#include "Scene.h"

#include <memory>

namespace tavro::bench {

/// A window over the whole screen that shows pictures of a scene. One thread. Failures are thrown as
/// std::runtime_error.
class Screen {
public:
    virtual ~Screen() = default;

    /// The picture to show, as Scene paints it.
    virtual std::uint32_t* pixels() = 0;
    /// Shows this area of the pixels. Returns when the server has it.
    virtual void show(const Area& area) = 0;
};

/// On the X server that DISPLAY names, above or behind all other windows. On a screen of twice the scene's
/// size each pixel is a square of four.
std::unique_ptr<Screen> openXScreen(bool behind);

/// On the compositor that WAYLAND_DISPLAY names, as a usual window: one that tiles windows without a border
/// gives it all of an output. `show` returns when the output has shown the picture, so that none replaces
/// another unseen.
std::unique_ptr<Screen> openWaylandScreen();

} // namespace tavro::bench
