#pragma once

#include "Platform/ScreenCapture.h"
#include "Platform/X11/X11Connection.h"

#include <vector>

namespace tavro {

struct X11Monitor {
    /// The atom of its name: the server keeps monitor names unique, and an atom stays the same number for as
    /// long as the server runs, whatever monitors come, go and move. CRTCs and outputs do not do as well:
    /// several can make up one monitor, and one can be split.
    std::uint32_t id = 0;
    Rect area; ///< of the root window
};

/// In the server's order; empty when it does not answer.
std::vector<X11Monitor> listMonitors(X11Connection& connection);

/// The windows on the screen: those that the window manager manages or, without one, those right below the
/// root.
std::vector<ShareableWindow> listWindows(X11Connection& connection);

} // namespace tavro
