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

/// Whether that X server can be captured: it is reachable and has what a capture needs. Blocks for a few
/// milliseconds. Any thread.
bool canCaptureX11(const QByteArray& display = {});

} // namespace tavro
