#pragma once

#include "Audio/AudioFrame.h"
#include "Core/SerialQueue.h"
#include "Platform/ScreenCapture.h"
#include "Platform/Sound.h"

#include <memory>

namespace tavro {

/// What the computer plays, as audio frames: a tap on all of it, read through a device that exists only while
/// this runs. Reused for every take. Main thread.
class SystemAudioCapture {
public:
    /// `hardware` and `converters` outlive the capture.
    SystemAudioCapture(AudioHardware& hardware, AudioConverterFactory& converters, SystemVersion system);
    ~SystemAudioCapture();

    /// Called on the capture's own queue, from the next `start()` on.
    void setOnFrame(AudioFrameHandler handler) { onFrame = std::move(handler); }

    /// Throws "Tavro.Audio" with code 2 before system 14.2, else with the status of the step that failed;
    /// what the steps before it made is released.
    void start();
    /// Does not wait for a callback under way; its frame goes to the handler of the take that it was recorded
    /// in.
    void stop();
    bool isRunning() const { return running != nullptr; }

private:
    struct Feed; // what the callback needs

    void createTap(const QString& uuid);
    void createDevice(const QString& tapUUID);
    void createProcedure(const std::shared_ptr<Feed>& feed);
    void startDevice();
    void release();

    AudioHardware& hardware;
    AudioConverterFactory& converters;
    const SystemVersion system;
    AudioFrameHandler onFrame;
    SerialQueue sampleQueue;
    AudioObjectID tapID = 0;
    AudioObjectID aggregateDeviceID = 0;
    AudioIOProcID ioProcID = 0;
    std::shared_ptr<Feed> running; // between start and stop
};

} // namespace tavro
