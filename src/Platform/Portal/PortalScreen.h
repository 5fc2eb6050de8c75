#pragma once

#include "Platform/AssetWriter.h"
#include "Platform/ScreenCapture.h"

#include <filesystem>
#include <memory>

namespace tavro {

/// The displays of a Wayland desktop through its ScreenCast portal. The first capture of a display opens the
/// desktop's dialog; a token of the portal stands for the choice afterwards. Main thread.
///
/// Starting a stream throws CaptureCancelled when the user cancels the dialog, or PlatformError
/// "Tavro.Portal": 1 no portal, 2 refused, 3 the portal has ended, 4 another display was chosen, 5 there is
/// no such display, 6 something else than a display was chosen or asked for.
class PortalScreen : public ScreenCaptureService {
public:
    /// Why nothing can be recorded, in words, by the portal's last answer; empty when it can: a portal is
    /// there and a display has been shared once.
    virtual QString obstacle() const = 0;
    /// Asks whether the portal is there. Never throws.
    virtual QCoro::Task<> refresh() = 0;
    /// Opens the desktop's dialog, so that a later capture starts without. Throws like the start of a stream.
    virtual QCoro::Task<> ask() = 0;
};

/// `writers` outlives the screen. `tokens`: a file for this user alone, made when there is something to keep.
std::unique_ptr<PortalScreen> makePortalScreen(
    AssetWriterFactory& writers, const std::filesystem::path& tokens);

} // namespace tavro
