#pragma once

#include "Platform/AssetWriter.h"
#include "Platform/ScreenCapture.h"

#include <QByteArray>

#include <memory>

namespace tavro {

/// The screen of an X server: `display` as in $DISPLAY, which is used when it is empty. Streams connect by
/// themselves; an unreachable server shows when one starts. Recording outputs write through `writers`, which
/// outlives them. Main thread.
std::unique_ptr<ScreenCaptureService> makeX11ScreenCapture(
    AssetWriterFactory& writers, QByteArray display = {});

/// Why that X server cannot be captured, for the user to read: it is out of reach, lacks what a capture
/// needs, or belongs to a Wayland desktop, whose screen it does not show. Empty when it can. Blocks for a few
/// milliseconds. Any thread.
QString obstacleToX11Capture(const QByteArray& display = {});

} // namespace tavro
