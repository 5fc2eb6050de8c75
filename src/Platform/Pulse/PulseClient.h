#pragma once

#include "PulseConnection.h"
#include "PulseRecording.h"

#include <memory>
#include <optional>

namespace tavro::pulse {

/// What other threads may ask of the sound server. No call takes longer than a second and some, whatever
/// state the server is in.
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
    Answer find(DeviceRole role);

    /// Records until `stop`. `deliver` runs on the client's thread. `error` as in `PulseRecording::Begun`; a
    /// server that takes its time is no error: the sound begins when it does.
    std::shared_ptr<PulseRecording> start(
        const PulseRecording::Description& description, SoundTimeline::Emit deliver, int& error);
    /// The last of the sound is emitted, and nothing after this has returned.
    void stop(std::shared_ptr<PulseRecording> recording);

    void sync(const PulseThread::Work& work) { thread.sync(work); }

private:
    PulseThread thread;
    std::unique_ptr<PulseConnection> connection; // used on the thread only
};

} // namespace tavro::pulse
