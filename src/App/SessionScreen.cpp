#include "App/SessionScreen.h"

#include "Core/DesktopSession.h"
#include "Core/Paths.h"
#include "Platform/Portal/PortalScreen.h"
#include "Platform/X11/X11ScreenCapture.h"

namespace tavro {

SessionScreen makeSessionScreen(AssetWriterFactory& writers) {
    if (!isWaylandSession())
        return {makeX11ScreenCapture(writers), [] { return obstacleToX11Capture(); }, {}, {}};
    const auto tokens = Paths::applicationSupport() / "tavro" / "displays.json";
    auto portal = makePortalScreen(writers, tokens);
    auto& screen = *portal;
    return {std::move(portal), [&screen] { return screen.obstacle(); },
        [&screen] { return screen.refresh(); }, [&screen] { return screen.ask(); }};
}

} // namespace tavro
