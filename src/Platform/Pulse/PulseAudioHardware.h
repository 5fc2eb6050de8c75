#pragma once

#include "Platform/Sound.h"

#include "PulseClient.h"

#include <map>

namespace tavro::pulse {

/// The default sink's monitor as a process tap. Taps, devices and procedures are table entries; a record
/// stream exists while a device runs.
class PulseAudioHardware final : public AudioHardware {
public:
    explicit PulseAudioHardware(PulseClient& sharedClient) : client(sharedClient) {}
    ~PulseAudioHardware() override;

    QCoro::Task<> findOutput() override;
    AudioStatus createProcessTap(const TapDescription& description, AudioObjectID& tap) override;
    AudioStatus destroyProcessTap(AudioObjectID tap) override;
    AudioStatus createAggregateDevice(
        const AggregateDeviceDescription& description, AudioObjectID& device) override;
    AudioStatus destroyAggregateDevice(AudioObjectID device) override;
    AudioStatus createIOProc(
        AudioObjectID device, SerialQueue& queue, IOProc callback, AudioIOProcID& proc) override;
    AudioStatus destroyIOProc(AudioObjectID device, AudioIOProcID proc) override;
    AudioStatus startDevice(
        AudioObjectID device, AudioIOProcID proc, AudioClock::time_point& origin) override;
    AudioStatus stopDevice(AudioObjectID device, AudioIOProcID proc) override;

private:
    struct Procedure {
        AudioObjectID device = 0;
        SerialQueue* queue = nullptr;
        std::shared_ptr<const IOProc> callback;
        std::shared_ptr<PulseRecording> recording = {}; // while the device runs
    };
    Procedure* find(AudioObjectID device, AudioIOProcID proc);

    PulseClient& client;
    // The last answer. Shared with the query under way, which may outlive this object.
    std::shared_ptr<AudioStatus> output = std::make_shared<AudioStatus>(PA_ERR_NOENTITY);
    std::map<AudioObjectID, QString> taps; // their UUIDs
    std::map<AudioObjectID, AggregateDeviceDescription> devices;
    std::map<AudioIOProcID, Procedure> procedures;
    std::uint32_t lastIdentifier = 0;
};

} // namespace tavro::pulse
