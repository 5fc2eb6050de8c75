#pragma once

#include "Platform/Sound.h"

#include <memory>

namespace tavro {

/// Sound through the PulseAudio protocol, which PulseAudio and PipeWire both serve. Connects when something
/// is asked or recorded, never starts a server. Statuses and error codes are libpulse's.
///
/// Both lines begin with the call that starts them (`AudioEngine::start()`, `AudioHardware::startDevice()`),
/// whatever the server does then. They never pause and keep within 20 ms of the steady clock. A server that
/// says nothing is waited for by the questions alone, for half a minute.
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
