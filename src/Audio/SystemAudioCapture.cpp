#include "Audio/SystemAudioCapture.h"

#include "Core/Errors.h"
#include "Core/Log.h"
#include "Platform/SystemNames.h"
#include "Platform/TakeFormat.h"

#include <QUuid>

#include <algorithm>
#include <utility>

namespace tavro {

namespace {

constexpr SystemVersion firstWithTaps{14, 2};

PlatformError failure(int code, const QString& text) {
    return PlatformError(QStringLiteral("Tavro.Audio"), code, text);
}

/// `what` has failed with `status`.
PlatformError statusFailure(AudioStatus status, const char* what, const QString& advice = {}) {
    return failure(status,
        QStringLiteral("%1 (%2 %3)").arg(QLatin1String(what), SystemNames::audioStatus).arg(status) + advice);
}

QString uuidText() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

PCMBufferPtr planes(const AudioIOBuffer& buffer) {
    const std::uint32_t channels = buffer.channelCount;
    const std::size_t bytesPerFrame = channels * sizeof(float);
    if (buffer.byteSize == 0 || buffer.data == nullptr || bytesPerFrame == 0 ||
        bytesPerFrame > buffer.byteSize)
        return nullptr;
    const auto* samples = static_cast<const float*>(buffer.data);
    auto result = std::make_shared<PCMBuffer>();
    result->frameLength = static_cast<std::uint32_t>(buffer.byteSize / bytesPerFrame);
    result->format = {
        AudioFormat::Sample::float32, TakeFormat::computerSoundRate, std::min(channels, 2U), false};
    for (std::uint32_t c = 0; c < result->format.channelCount; ++c) {
        std::vector<float>& plane = result->floatChannels.emplace_back(result->frameLength);
        for (std::size_t i = 0; i < plane.size(); ++i)
            plane[i] = samples[i * channels + c];
    }
    return result;
}

} // namespace

SystemAudioCapture::SystemAudioCapture(
    AudioHardware& devices, AudioConverterFactory& factory, SystemVersion version)
    : hardware(devices)
    , converters(factory)
    , system(version)
    , sampleQueue(QStringLiteral("com.quembridge.tavro.process-tap")) {}

SystemAudioCapture::~SystemAudioCapture() {
    stop();
}

QCoro::Task<AudioClock::time_point> SystemAudioCapture::start() {
    if (running)
        co_return AudioClock::time_point(origin);
    if (system < firstWithTaps)
        throw failure(
            2, QStringLiteral("System audio capture requires %1 14.2 or later").arg(SystemNames::platform));
    starting = std::make_shared<int>();
    const std::weak_ptr wanted = starting;
    auto finding = hardware.findOutput();
    co_await finding;
    throwIfStopped(wanted);
    auto feed = makeFeed(converters);
    const QString tapUUID = uuidText();
    try {
        createTap(tapUUID);
        createDevice(tapUUID);
        createProcedure(feed);
        startDevice();
    } catch (...) {
        release();
        throw;
    }
    running = std::move(feed);
    Log::info(QStringLiteral("System audio capture started"));
    co_return AudioClock::time_point(origin);
}

void SystemAudioCapture::createTap(const QString& uuid) {
    const TapDescription description{uuid, QStringLiteral("TavroSystemAudio"), true, false};
    AudioObjectID created = 0;
    if (const AudioStatus status = hardware.createProcessTap(description, created); status != audioNoError)
        throw statusFailure(status, "System audio tap creation failed",
            QStringLiteral(". Make sure System Audio Recording permission is granted in %1.")
                .arg(SystemNames::soundSettings));
    tapID = created;
    Log::info(QStringLiteral("Process tap created, tapID=%1").arg(tapID));
}

void SystemAudioCapture::createDevice(const QString& tapUUID) {
    const AggregateDeviceDescription description{
        QStringLiteral("com.quembridge.tavro.tap-aggregate-") + uuidText(),
        QStringLiteral("Tavro System Audio Aggregate"), true, {tapUUID}, true};
    AudioObjectID created = 0;
    if (const AudioStatus status = hardware.createAggregateDevice(description, created);
        status != audioNoError)
        throw statusFailure(status, "Failed to create aggregate device for system-audio tap");
    aggregateDeviceID = created;
    Log::info(QStringLiteral("Aggregate device created, id=%1").arg(aggregateDeviceID));
}

void SystemAudioCapture::createProcedure(const std::shared_ptr<Feed>& feed) {
    const auto callback = [weak = std::weak_ptr(feed)](std::span<const AudioIOBuffer> buffers) {
        const auto present = weak.lock();
        if (present && !buffers.empty())
            present->take(planes(buffers.front()));
    };
    AudioIOProcID created = 0;
    const AudioStatus status = hardware.createIOProc(aggregateDeviceID, sampleQueue, callback, created);
    if (status != audioNoError || created == 0)
        throw statusFailure(status, "Failed to create IOProc for system-audio aggregate device");
    ioProcID = created;
}

void SystemAudioCapture::startDevice() {
    if (const AudioStatus status = hardware.startDevice(aggregateDeviceID, ioProcID, origin);
        status != audioNoError)
        throw statusFailure(status, "Failed to start IOProc for system-audio aggregate device");
}

void SystemAudioCapture::stop() {
    starting.reset();
    if (!running)
        return;
    hardware.stopDevice(aggregateDeviceID, ioProcID);
    release();
    running.reset();
    Log::info(QStringLiteral("System audio capture stopped"));
}

void SystemAudioCapture::release() {
    if (ioProcID != 0)
        hardware.destroyIOProc(aggregateDeviceID, std::exchange(ioProcID, 0));
    if (aggregateDeviceID != 0)
        hardware.destroyAggregateDevice(std::exchange(aggregateDeviceID, 0));
    if (tapID != 0)
        hardware.destroyProcessTap(std::exchange(tapID, 0));
}

} // namespace tavro
