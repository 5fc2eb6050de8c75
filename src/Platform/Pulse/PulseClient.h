#pragma once

#include "Core/Promise.h"

#include "PulseConnection.h"
#include "PulseRecording.h"

#include <memory>

namespace tavro::pulse {

/// What other threads may ask of the sound server. No call waits for it, whatever state it is in.
class PulseClient {
public:
    PulseClient();
    ~PulseClient();
    PulseClient(const PulseClient&) = delete;
    PulseClient& operator=(const PulseClient&) = delete;

    struct Answer {
        RecordingDevice device;
        int error = 0; ///< 0, or the library's code
    };
    /// Comes when the server answers, at the latest after half a minute, and then with PA_ERR_TIMEOUT.
    Promise<Answer> find(DeviceRole role);

    /// Records until `stop`, from now on, also while there is no server or it is silent: the line is silent
    /// then. `deliver` runs on the client's thread.
    std::shared_ptr<PulseRecording> start(
        const PulseRecording::Description& description, SoundTimeline::Emit deliver);
    /// The last of the sound is emitted, and nothing after this has returned. Hands over to the client's
    /// thread, which never waits either.
    void stop(std::shared_ptr<PulseRecording> recording);

    void sync(const PulseThread::Work& work) { thread.sync(work); } ///< like `stop`

private:
    PulseThread thread;
    std::unique_ptr<PulseConnection> connection; // used on the thread only
};

} // namespace tavro::pulse
