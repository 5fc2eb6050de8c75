#pragma once

#include "Audio/AudioSource.h"
#include "Core/SerialQueue.h"
#include "Platform/ScreenCapture.h"

namespace tavro {

/// What the computer plays, by a tap that exists only while this runs. Frames come on a queue of its own.
class SystemAudioCapture final : public AudioSource {
public:
    /// `hardware` and `converters` outlive the capture.
    SystemAudioCapture(AudioHardware& hardware, AudioConverterFactory& converters, SystemVersion system);
    ~SystemAudioCapture() override;

    /// Throws "Tavro.Audio" 2 before system 14.2, else the failed step's status; earlier steps are undone.
    QCoro::Task<AudioClock::time_point> start() override;
    /// Does not wait for a callback under way; its frame goes to the handler of its own take.
    void stop() override;

private:
    void createTap(const QString& uuid);
    void createDevice(const QString& tapUUID);
    void createProcedure(const std::shared_ptr<Feed>& feed);
    void startDevice();
    void release();

    AudioHardware& hardware;
    AudioConverterFactory& converters;
    const SystemVersion system;
    SerialQueue sampleQueue;
    AudioObjectID tapID = 0;
    AudioObjectID aggregateDeviceID = 0;
    AudioIOProcID ioProcID = 0;
};

} // namespace tavro
