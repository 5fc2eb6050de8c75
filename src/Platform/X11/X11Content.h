#pragma once

#include "Platform/ScreenCapture.h"
#include "Platform/X11/X11Connection.h"

#include <vector>

namespace tavro {

struct X11Monitor {
    /// The atom of the monitor's unique name. It stays the same while the server runs, even when monitors
    /// change. A CRTC or an output does not identify a monitor: several can form one, and one can be split.
    std::uint32_t id = 0;
    Rect area; ///< in the root window
};

/// In the server's order; empty without an answer.
std::vector<X11Monitor> listMonitors(X11Connection& connection);

/// The window manager's windows or, without a window manager, the root's children.
std::vector<ShareableWindow> listWindows(X11Connection& connection);

} // namespace tavro
