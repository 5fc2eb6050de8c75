#pragma once

#include <QRect>
#include <QSize>
#include <QString>

#include <chrono>
#include <vector>

namespace tavro {

/// A display of a Wayland desktop.
struct WaylandOutput {
    QString connector;   ///< e.g. "DP-1"; empty when the compositor does not tell
    QString description; ///< for people, e.g. "Dell Inc. U2412M (DP-1)"; may be empty
    QString make;
    QString model;
    QRect area;   ///< in the desktop's logical coordinates
    QSize pixels; ///< as it is shown: width and height of a rotated display are exchanged
    bool operator==(const WaylandOutput&) const = default;
};

/// The outputs of the compositor that WAYLAND_DISPLAY names, from left to right and from top to bottom. Any
/// thread, but it may wait for `limit`: the main thread leaves it to another. Throws PlatformError
/// "Tavro.Wayland": 1 without a compositor, 2 when it does not answer in time or ends the connection.
std::vector<WaylandOutput> listOutputs(std::chrono::milliseconds limit = std::chrono::seconds(2));

} // namespace tavro
