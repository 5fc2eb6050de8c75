#pragma once

#include "PulseConnection.h"
#include "SoundTimeline.h"

#include <memory>
#include <optional>

namespace tavro::pulse {

/// Records one role in one format without a break: follows the default device, reconnects, and is silent in
/// between. On the `PulseThread`, unless noted.
class PulseRecording final : private PulseConnection::Listener {
public:
    struct Description {
        DeviceRole role;
        const char* name; ///< of the stream, for the user's mixer
        pa_sample_spec spec{};
        pa_channel_map map{}; ///< the server converts other formats to this one
    };

    /// Any thread. Frame 0 is the moment of construction. `inquiry` is held by nobody, so that it is a new
    /// connection for most questions: PipeWire 0.3 may stop telling clients of another default device, and
    /// goes on answering those it has with the old one.
    PulseRecording(PulseConnection& connection, PulseConnection& inquiry, const Description& description,
        SoundTimeline::Emit deliver);
    ~PulseRecording() override;

    SoundTimeline::Clock::time_point origin() const { return timeline.origin(); } ///< any thread

    void begin();
    void finish(); ///< emits what is held back, and nothing later; required after `begin()`

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
    bool isCutOff(Clock::time_point now) const;
    void askForTiming(Clock::time_point now);
    void read();
    void tick();

    PulseConnection& connection;
    PulseConnection& inquiry;
    const Description description;
    SoundTimeline timeline;
    Stream stream;
    std::string device;     // of the stream; empty without one
    bool searching = false; // a query for the device is open
    bool changed = false;   // its answer may be out of date
    Clock::time_point lastSearch;
    Clock::time_point lastArrival;
    std::optional<Clock::time_point> timing;       // when the server last answered with the stream's timing
    bool timingAsked = false;                      // a query for the timing is open
    std::optional<Clock::time_point> waitingSince; // blocks wait for the timing
    bool stalled = false;                          // the stream is there but delivers nothing
    bool interrupted = false;                      // and logged
    bool toldOfCutOff = false;                     // in the log, until sound arrives
    std::shared_ptr<int> alive = std::make_shared<int>();
};

} // namespace tavro::pulse
