#include "PulseRecording.h"

#include "Core/Log.h"

#include <algorithm>
#include <utility>

namespace tavro::pulse {

namespace {

using namespace std::chrono_literals;

constexpr auto fragment = 20ms;      // the server's default is up to two seconds
constexpr auto tickInterval = 100ms; // between checks whether the stream delivers
constexpr auto stallTime = 500ms;    // a stream without data for this long has stalled
constexpr auto retryInterval = 300ms;
constexpr auto cutOffTime =
    2s; // a stream that the server still answers for, but without data: connect it anew
constexpr auto searchInterval = 10s;   // between questions for the device, also when nothing is told
constexpr auto timingInterval = 200ms; // between queries for the age of the data
constexpr auto timingPatience = 150ms; // how long a first block waits for the answer

QString text(int error) {
    return QString::fromUtf8(pa_strerror(error));
}

} // namespace

struct PulseRecording::Callbacks {
    static void state(pa_stream* stream, void* self) {
        auto& recording = *static_cast<PulseRecording*>(self);
        const pa_stream_state_t state = pa_stream_get_state(stream);
        if (state == PA_STREAM_READY)
            recording.streamReady();
        else if (!PA_STREAM_IS_GOOD(state))
            recording.streamLost();
    }
    static void read(pa_stream*, std::size_t, void* self) { static_cast<PulseRecording*>(self)->read(); }
    static void latency(pa_stream*, void* self) { static_cast<PulseRecording*>(self)->timingKnown(); }
};

PulseRecording::PulseRecording(PulseConnection& server, PulseConnection& inquiryConnection,
    const Description& what, SoundTimeline::Emit deliver)
    : connection(server)
    , inquiry(inquiryConnection)
    , description(what)
    , timeline(what.spec.rate, what.spec.channels, Clock::now(), std::move(deliver)) {}

PulseRecording::~PulseRecording() = default;

void PulseRecording::begin() {
    connection.hold(*this);
    if (connection.isReady())
        findDevice();
    tick();
}

void PulseRecording::finish() {
    if (!alive)
        return;
    alive.reset();
    closeStream();
    timeline.flush();
    connection.release(*this);
}

void PulseRecording::connected() {
    findDevice();
}

void PulseRecording::disconnected(int error) {
    closeStream();
    tellInterruption(error);
}

void PulseRecording::devicesChanged() {
    findDevice();
}

void PulseRecording::findDevice() {
    changed = true;
    if (std::exchange(searching, true))
        return;
    changed = false;
    lastSearch = Clock::now();
    inquiry.find(
        description.role, [this, life = std::weak_ptr(alive)](const RecordingDevice& found, int error) {
            if (!life.lock())
                return;
            searching = false;
            if (!connection.isReady())
                return; // the device is searched for when it is
            if (error == 0)
                record(found);
            if (error == PA_ERR_NOENTITY) { // there is no such device now
                closeStream();
                tellInterruption(error);
            }
            if (changed)
                findDevice();
        });
}

void PulseRecording::record(const RecordingDevice& found) {
    if (stream && device == found.name)
        return;
    closeStream();
    device = found.name;

    const Properties properties(pa_proplist_new());
    pa_proplist_sets(properties.get(), PA_PROP_MEDIA_NAME, description.name);
    pa_proplist_sets(properties.get(), PA_PROP_MEDIA_ROLE, "production");
    stream.reset(pa_stream_new_with_proplist(
        connection.handle(), description.name, &description.spec, &description.map, properties.get()));
    if (!stream)
        return streamLost();
    pa_stream_set_state_callback(stream.get(), Callbacks::state, this);
    pa_stream_set_read_callback(stream.get(), Callbacks::read, this);
    pa_stream_set_latency_update_callback(stream.get(), Callbacks::latency, this);

    pa_buffer_attr attributes;
    std::fill_n(
        reinterpret_cast<unsigned char*>(&attributes), sizeof attributes, 0xff); // the server's choice
    attributes.fragsize = static_cast<std::uint32_t>(
        pa_usec_to_bytes(std::chrono::microseconds(fragment).count(), &description.spec));
    // PA_STREAM_DONT_MOVE: otherwise the server moves the stream to the default source when the sink goes. No
    // PA_STREAM_INTERPOLATE_TIMING: it is off by tens of milliseconds for seconds after any irregularity.
    const auto flags = PA_STREAM_ADJUST_LATENCY | PA_STREAM_AUTO_TIMING_UPDATE | PA_STREAM_DONT_MOVE;
    lastArrival = Clock::now();
    if (pa_stream_connect_record(
            stream.get(), device.c_str(), &attributes, static_cast<pa_stream_flags_t>(flags)) < 0)
        streamLost();
}

void PulseRecording::streamReady() {
    lastArrival = Clock::now();
    interrupted = false;
}

void PulseRecording::streamLost() {
    const int error = pa_context_errno(connection.handle());
    closeStream();
    tellInterruption(error != 0 ? error : PA_ERR_NOENTITY);
    connection.owner().after(retryInterval, [this, life = std::weak_ptr(alive)] {
        if (life.lock() && !stream && connection.isReady())
            findDevice();
    });
}

void PulseRecording::closeStream() {
    device.clear();
    stalled = timingAsked = false;
    timing.reset();
    waitingSince.reset();
    timeline.interrupt();
    if (!stream)
        return;
    pa_stream_set_state_callback(stream.get(), nullptr, nullptr);
    pa_stream_set_read_callback(stream.get(), nullptr, nullptr);
    pa_stream_set_latency_update_callback(stream.get(), nullptr, nullptr);
    pa_stream_disconnect(stream.get());
    stream.reset();
}

void PulseRecording::tellInterruption(int error) {
    if (!std::exchange(interrupted, true))
        Log::info(QStringLiteral("%1: interrupted (%2), silent until it is back")
                      .arg(QString::fromUtf8(description.name), text(error)));
}

void PulseRecording::timingKnown() {
    timingAsked = false;
    timing = Clock::now();
    read();
}

// When the next frame to be read was captured: its age in the last timing, counted from that answer. A server
// that hung may report sound seconds ahead; no frame is newer than what the sink holds.
std::optional<PulseRecording::Clock::time_point> PulseRecording::captureTime(Clock::time_point now) const {
    pa_usec_t latency = 0;
    int negative = 0; // recorded after the answer, or a monitor ahead of the speakers
    if (!timing || pa_stream_get_latency(stream.get(), &latency, &negative) != 0)
        return std::nullopt;
    const std::chrono::microseconds age(latency);
    const std::chrono::microseconds held(pa_stream_get_timing_info(stream.get())->sink_usec);
    return std::min(negative != 0 ? *timing + age : *timing - age, now + held);
}

void PulseRecording::askForTiming(Clock::time_point now) {
    if (!stream || pa_stream_get_state(stream.get()) != PA_STREAM_READY || timingAsked ||
        now - timing.value_or(Clock::time_point{}) < timingInterval)
        return;
    const Operation operation(pa_stream_update_timing_info(stream.get(), nullptr, nullptr));
    timingAsked = operation != nullptr;
}

void PulseRecording::read() {
    if (!stream || pa_stream_readable_size(stream.get()) == 0)
        return;
    const auto now = Clock::now();
    const auto first = captureTime(now);
    if (!first && now - waitingSince.value_or(now) < timingPatience) {
        waitingSince = waitingSince.value_or(now);
        return; // the answer comes within a round trip and calls this again
    }
    waitingSince.reset();
    if (std::exchange(stalled, false))
        timeline.interrupt();
    lastArrival = now;
    toldOfCutOff = false;

    auto captured = first.value_or(now - fragment);
    const std::size_t frameBytes = pa_frame_size(&description.spec);
    std::vector<float> hole;
    while (pa_stream_readable_size(stream.get()) > 0) {
        const void* data = nullptr;
        std::size_t bytes = 0;
        if (pa_stream_peek(stream.get(), &data, &bytes) < 0 || bytes == 0)
            break;
        std::span<const float> frames(static_cast<const float*>(data), bytes / sizeof(float));
        if (data == nullptr) {
            hole.assign(bytes / sizeof(float), 0.F);
            frames = hole;
        }
        timeline.add(frames, captured);
        captured +=
            std::chrono::microseconds(pa_bytes_to_usec(bytes / frameBytes * frameBytes, &description.spec));
        pa_stream_drop(stream.get());
    }
}

// PipeWire may leave a stream without a link to its device, and tells nobody.
bool PulseRecording::isCutOff(Clock::time_point now) const {
    const bool serverAnswers = timing && !timingAsked;
    return stream && stalled && serverAnswers && now - lastArrival > cutOffTime;
}

void PulseRecording::tick() {
    const auto now = Clock::now();
    if (isCutOff(now)) {
        if (!std::exchange(toldOfCutOff, true))
            Log::info(QStringLiteral("%1: nothing arrives from %2, connecting again")
                          .arg(QString::fromUtf8(description.name), QString::fromStdString(device)));
        closeStream();
        findDevice();
    }
    if (connection.isReady() && now - lastSearch > searchInterval)
        findDevice();
    askForTiming(now);
    if (!stream || now - lastArrival > stallTime) {
        if (stream && !std::exchange(stalled, true)) {
            timeline.interrupt();
            timing.reset(); // not valid for later data
        }
        timeline.fill(now);
    }
    connection.owner().after(tickInterval, [this, life = std::weak_ptr(alive)] {
        if (life.lock())
            tick();
    });
}

} // namespace tavro::pulse
