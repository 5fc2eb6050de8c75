#include "PulseSound.h"

#include "PulseAudioEngine.h"
#include "PulseAudioHardware.h"

namespace tavro {

struct PulseSound::Parts {
    pulse::PulseClient client;
    pulse::PulseAudioEngine engine{client};
    pulse::PulseAudioHardware hardware{client};
};

PulseSound::PulseSound() : parts(std::make_unique<Parts>()) {}

PulseSound::~PulseSound() = default;

AudioEngine& PulseSound::audioEngine() {
    return parts->engine;
}

AudioHardware& PulseSound::audioHardware() {
    return parts->hardware;
}

} // namespace tavro
