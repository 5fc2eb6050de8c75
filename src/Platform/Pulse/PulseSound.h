#pragma once

#include "Platform/Sound.h"

#include <memory>

namespace tavro {

/// Sound through the PulseAudio protocol, served by PulseAudio and PipeWire. Never starts a server. Statuses
/// and error codes are libpulse's.
///
/// Both lines begin with the call that starts them, whatever the server does. They never pause and keep
/// within 20 ms of the steady clock. Only queries wait for a silent server, for half a minute.
class PulseSound {
public:
    PulseSound();
    ~PulseSound(); ///< after all users of the two
    PulseSound(const PulseSound&) = delete;
    PulseSound& operator=(const PulseSound&) = delete;

    AudioEngine& audioEngine();
    AudioHardware& audioHardware();

private:
    struct Parts;
    std::unique_ptr<Parts> parts;
};

} // namespace tavro
