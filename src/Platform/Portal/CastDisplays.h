#pragma once

#include "Platform/Portal/CastSession.h"
#include "Platform/ScreenCapture.h"
#include "Platform/Wayland/WaylandOutputs.h"

#include <optional>
#include <vector>

namespace tavro::portal {

/// An entry of the list of displays. Displays that mirror each other share one. Where the portal cannot tell
/// displays apart, one entry stands for all of the same size, too.
struct CastDisplay {
    QString key; ///< names the entry in the tokens' file, the same in each session
    std::vector<WaylandOutput> outputs;
    bool isAmbiguous = false; ///< the outputs show different pictures
    ShareableDisplay shown{};
};

/// The entries for these outputs. `tellsPositions`: this desktop's portal says where a shared display is.
std::vector<CastDisplay> castDisplays(const std::vector<WaylandOutput>& outputs, bool tellsPositions);

/// The entry that `stream` shows; none for another source, e.g. a window or the whole workspace.
const CastDisplay* displayOf(const CastStream& stream, const std::vector<CastDisplay>& displays);

} // namespace tavro::portal
