#pragma once

namespace tavro {

/// Whether the user's desktop is a Wayland one. XDG_SESSION_TYPE decides when it names a Wayland or an X11
/// session, whatever else the environment has: services and terminals can pass WAYLAND_DISPLAY on to an X11
/// session. Any other type, such as that of a compositor started from a text console, leaves it to
/// WAYLAND_DISPLAY. DISPLAY never counts: Wayland desktops have an X server for X11 programs. Any thread.
bool isWaylandSession();

} // namespace tavro
