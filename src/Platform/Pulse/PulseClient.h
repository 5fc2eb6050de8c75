#pragma once

#include "Core/Promise.h"

#include "PulseConnection.h"
#include "PulseRecording.h"

#include <memory>

namespace tavro::pulse {

/// The sound server, for other threads. No call waits for the server.
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
    /// Resolved when the server answers, or after half a minute with PA_ERR_TIMEOUT.
    Promise<Answer> find(DeviceRole role);

    /// Records from now until `stop`; silence without a server. `deliver` runs on the client's thread.
    std::shared_ptr<PulseRecording> start(
        const PulseRecording::Description& description, SoundTimeline::Emit deliver);
    /// Emits the last frames, none later. Waits for the client's thread, which never waits itself.
    void stop(std::shared_ptr<PulseRecording> recording);

    void sync(const PulseThread::Work& work) { thread.sync(work); } ///< waits for the client's thread

private:
    PulseThread thread;
    std::unique_ptr<PulseConnection> connection; // these two are used on the thread only
    std::unique_ptr<PulseConnection> inquiry;    // for questions while the other is held
};

} // namespace tavro::pulse
