#include "App/LinuxDesktop.h"

#include "Platform/X11/X11ScreenCapture.h"

namespace tavro {
namespace {

QString screenObstacle() {
    if (qEnvironmentVariableIsSet("WAYLAND_DISPLAY")) // its X server shows nothing but its own clients
        return QStringLiteral("Tavro records X11 desktops. Log in to an X11 session (“on Xorg”) to record.");
    if (!canCaptureX11())
        return QStringLiteral(
            "The X server must run on this machine and have the extensions MIT-SHM and DAMAGE.");
    return {};
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
