#pragma once

#include "PulseConnection.h"
#include "SoundTimeline.h"

#include <memory>
#include <optional>

namespace tavro::pulse {

/// The sound of one role, in one form, from its beginning to its end without a break: it follows the default
/// device, and comes back with the server; in between it is silent. On the `PulseThread`, but where another
/// is named.
class PulseRecording final : private PulseConnection::Listener {
public:
    struct Description {
        DeviceRole role;
        const char* name; ///< of the stream, for the user's mixer
        pa_sample_spec spec{};
        pa_channel_map map{}; ///< the server converts to this form what a device has in another
    };

    /// Made on any thread; frame 0 is that of this moment.
    PulseRecording(PulseConnection& connection, const Description& description, SoundTimeline::Emit deliver);
    ~PulseRecording() override;

    SoundTimeline::Clock::time_point origin() const { return timeline.origin(); } ///< any thread

    void begin();
    void finish(); ///< lets out what is held back; nothing comes after it. Before the end, when it was begun

private:
    struct Callbacks;
    using Clock = PulseThread::Clock;

    void connected() override;
    void disconnected(int error) override;
    void devicesChanged() override;

    void findDevice();
    void record(const RecordingDevice& device);
    void streamReady();
    void streamLost();
    void closeStream();
    void tellInterruption(int error);
    void timingKnown();
    std::optional<Clock::time_point> captureTime(Clock::time_point now) const;
    void askForTiming(Clock::time_point now);
    void read();
    void tick();

    PulseConnection& connection;
    const Description description;
    SoundTimeline timeline;
    Stream stream;
    std::string device;     // that the stream records; empty for none
    bool searching = false; // the server has been asked for the device
    bool changed = false;   // ... and its answer may be old
    Clock::time_point lastArrival;
    std::optional<Clock::time_point> timing;       // when the server last told the stream's timing
    bool timingAsked = false;                      // and has not answered
    std::optional<Clock::time_point> waitingSince; // blocks wait for the timing
    bool stalled = false;                          // the stream is there but delivers nothing
    bool interrupted = false;                      // the user has been told
    std::shared_ptr<int> alive = std::make_shared<int>();
};

} // namespace tavro::pulse
