#include "App/LinuxDesktop.h"

#include "Platform/X11/X11ScreenCapture.h"

namespace tavro {
namespace {

QCoro::Task<bool> isUsable(QCoro::Task<AudioFormat> asking) {
    const AudioFormat input = co_await asking;
    co_return input.sampleRate > 0;
}

} // namespace

DesktopPrivacy::Probes LinuxDesktop::privacyProbes() {
    return {.screenObstacle = [] { return obstacleToX11Capture(); },
        .microphoneExists = [this] { return isUsable(sound.audioEngine().inputFormat()); }};
}

std::unique_ptr<ScreenCaptureService> LinuxDesktop::makeScreenCapture(AssetWriterFactory& writers) {
    return makeX11ScreenCapture(writers);
}

} // namespace tavro
