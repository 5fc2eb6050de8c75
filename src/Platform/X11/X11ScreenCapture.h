#pragma once

#include "Platform/AssetWriter.h"
#include "Platform/ScreenCapture.h"

#include <QByteArray>

#include <memory>

namespace tavro {

/// An X server's screen. `display`: as in $DISPLAY, the default when empty. Each stream connects at its start
/// and fails without a server. `writers` writes recordings and outlives them. Main thread.
std::unique_ptr<ScreenCaptureService> makeX11ScreenCapture(
    AssetWriterFactory& writers, QByteArray display = {});

/// Explains to the user why the X server cannot be captured: unreachable, without an extension, or part of a
/// Wayland desktop. Empty when it can. Blocks for some milliseconds, or seconds
/// when the server does not answer. Any thread.
QString obstacleToX11Capture(const QByteArray& display = {});

} // namespace tavro
