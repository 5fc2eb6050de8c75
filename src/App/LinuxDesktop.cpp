#include "App/LinuxDesktop.h"

namespace tavro {
namespace {

QCoro::Task<bool> isUsable(QCoro::Task<AudioFormat> asking) {
    const AudioFormat input = co_await asking;
    co_return input.sampleRate > 0;
}

} // namespace

DesktopPrivacy::Probes LinuxDesktop::privacyProbes() {
    return {.screenObstacle = screen.obstacle,
        .refreshScreen = screen.refreshObstacle,
        .askForScreen = screen.ask,
        .microphoneExists = [this] { return isUsable(sound.audioEngine().inputFormat()); }};
}

} // namespace tavro
