#pragma once

#include "Platform/Sound.h"

#include <memory>

namespace tavro {

/// Sound through the PulseAudio protocol, which PulseAudio and PipeWire both serve. Connects when something
/// is asked or recorded, never starts a server. Statuses and error codes are libpulse's.
///
/// Both lines begin when the call that started them returns (`AudioEngine::start()`,
/// `AudioHardware::startDevice()`): their first frame was at the device then. They never pause and keep
/// within 20 ms of the steady clock.
class PulseSound {
public:
    PulseSound();
    ~PulseSound(); ///< after everything that uses the two
    PulseSound(const PulseSound&) = delete;
    PulseSound& operator=(const PulseSound&) = delete;

    AudioEngine& audioEngine();
    AudioHardware& audioHardware();

private:
    struct Parts;
    std::unique_ptr<Parts> parts;
};

} // namespace tavro
