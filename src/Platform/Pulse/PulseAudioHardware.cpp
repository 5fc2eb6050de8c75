#include "PulseAudioHardware.h"

#include "Core/SerialQueue.h"
#include "Platform/TakeFormat.h"

#include <algorithm>
#include <utility>

namespace tavro::pulse {

namespace {

constexpr std::size_t channels = 2;
constexpr std::uint32_t rate = TakeFormat::computerSoundRate;
constexpr std::size_t callbackFrames = 1920; // 40 ms, at least; each costs a change of threads

void callBack(SerialQueue& queue, const std::shared_ptr<const AudioHardware::IOProc>& callback,
    std::vector<float> frames) {
    queue.async([callback, samples = std::move(frames)] {
        const AudioIOBuffer buffer{
            channels, static_cast<std::uint32_t>(samples.size() * sizeof(float)), samples.data()};
        (*callback)(std::span(&buffer, 1));
    });
}

} // namespace

PulseAudioHardware::~PulseAudioHardware() {
    for (auto& [id, procedure] : procedures)
        if (procedure.recording)
            client.stop(std::move(procedure.recording));
}

QCoro::Task<> PulseAudioHardware::findOutput() {
    const auto known = output;
    const auto asked = client.find(DeviceRole::systemSound);
    const PulseClient::Answer answer = co_await asked;
    *known = answer.error;
}

AudioStatus PulseAudioHardware::createProcessTap(const TapDescription& description, AudioObjectID& tap) {
    if (*output != audioNoError)
        return *output;
    tap = ++lastIdentifier;
    taps[tap] = description.uuid;
    return audioNoError;
}

AudioStatus PulseAudioHardware::destroyProcessTap(AudioObjectID tap) {
    return taps.erase(tap) > 0 ? audioNoError : PA_ERR_NOENTITY;
}

AudioStatus PulseAudioHardware::createAggregateDevice(
    const AggregateDeviceDescription& description, AudioObjectID& device) {
    const auto known = [this](const QString& uuid) {
        return std::ranges::any_of(taps, [&](const auto& tap) { return tap.second == uuid; });
    };
    if (description.tapUUIDs.empty() || !std::ranges::all_of(description.tapUUIDs, known))
        return PA_ERR_NOENTITY;
    device = ++lastIdentifier;
    devices[device] = description;
    return audioNoError;
}

AudioStatus PulseAudioHardware::destroyAggregateDevice(AudioObjectID device) {
    return devices.erase(device) > 0 ? audioNoError : PA_ERR_NOENTITY;
}

AudioStatus PulseAudioHardware::createIOProc(
    AudioObjectID device, SerialQueue& queue, IOProc callback, AudioIOProcID& proc) {
    if (!devices.contains(device))
        return PA_ERR_NOENTITY;
    proc = ++lastIdentifier;
    procedures[proc] = {device, &queue, std::make_shared<const IOProc>(std::move(callback))};
    return audioNoError;
}

AudioStatus PulseAudioHardware::destroyIOProc(AudioObjectID device, AudioIOProcID proc) {
    if (stopDevice(device, proc) != audioNoError)
        return PA_ERR_NOENTITY;
    procedures.erase(proc);
    return audioNoError;
}

AudioStatus PulseAudioHardware::startDevice(
    AudioObjectID device, AudioIOProcID proc, AudioClock::time_point& origin) {
    Procedure* const procedure = find(device, proc);
    if (procedure == nullptr)
        return PA_ERR_NOENTITY;
    if (!procedure->recording) {
        PulseRecording::Description description{
            DeviceRole::systemSound, "Computer sound", {PA_SAMPLE_FLOAT32NE, rate, channels}, {}};
        pa_channel_map_init_stereo(&description.map);
        procedure->recording = client.start(description,
            [&queue = *procedure->queue, callback = procedure->callback, pending = std::vector<float>()](
                std::span<const float> frames) mutable {
                pending.insert(pending.end(), frames.begin(), frames.end());
                if (pending.size() >= callbackFrames * channels)
                    callBack(queue, callback, std::exchange(pending, {}));
            });
    }
    origin = procedure->recording->origin();
    return audioNoError;
}

AudioStatus PulseAudioHardware::stopDevice(AudioObjectID device, AudioIOProcID proc) {
    Procedure* const procedure = find(device, proc);
    if (procedure == nullptr)
        return PA_ERR_NOENTITY;
    if (procedure->recording)
        client.stop(std::exchange(procedure->recording, nullptr));
    return audioNoError;
}

PulseAudioHardware::Procedure* PulseAudioHardware::find(AudioObjectID device, AudioIOProcID proc) {
    const auto entry = procedures.find(proc);
    return entry != procedures.end() && entry->second.device == device ? &entry->second : nullptr;
}

} // namespace tavro::pulse
