#include "App/LinuxDesktop.h"

#include "Platform/X11/X11ScreenCapture.h"

namespace tavro {
namespace {

QString screenObstacle() {
    return obstacleToX11Capture();
}

// A connection of its own: what is asked here must not disturb a take, and none is kept in between.
bool microphoneExists() {
    PulseSound sound;
    return sound.audioEngine().inputFormat().sampleRate > 0;
}

} // namespace

DesktopPrivacy::Probes LinuxDesktop::privacyProbes() {
    return {.screenObstacle = &screenObstacle, .microphoneExists = &microphoneExists};
}

std::unique_ptr<ScreenCaptureService> LinuxDesktop::makeScreenCapture(AssetWriterFactory& writers) {
    return makeX11ScreenCapture(writers);
}

} // namespace tavro
