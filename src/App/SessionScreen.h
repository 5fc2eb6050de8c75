#pragma once

#include "Platform/AssetWriter.h"
#include "Platform/ScreenCapture.h"

#include <functional>
#include <memory>

namespace tavro {

/// The screen of this session: through the desktop's portal on Wayland, else of the X server.
struct SessionScreen {
    std::unique_ptr<ScreenCaptureService> service;
    std::function<QString()> obstacle;              ///< why it cannot be captured; empty when it can
    std::function<QCoro::Task<>()> refreshObstacle; ///< empty where the answer is always up to date
    std::function<QCoro::Task<>()> ask;             ///< opens the desktop's dialog; empty where there is none
};

/// `writers` outlives the screen. Main thread.
SessionScreen makeSessionScreen(AssetWriterFactory& writers);

} // namespace tavro
