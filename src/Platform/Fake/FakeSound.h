#pragma once

#include "Core/Errors.h"
#include "Core/Promise.h"
#include "Core/SerialQueue.h"
#include "Platform/Sound.h"

#include <QStringList>

#include <atomic>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

namespace tavro {

/// An audio engine whose input comes from the test.
class FakeAudioEngine final : public AudioEngine {
public:
    AudioFormat format{AudioFormat::Sample::float32, 48'000, 1, false};
    std::exception_ptr startError;           ///< thrown by `start()`
    std::optional<Promise<void>> silence;    ///< delays the next `inputFormat()` until it is resolved
    std::chrono::milliseconds sinceOrigin{}; ///< age of the stream's origin at the start
    QStringList calls;

    QCoro::Task<AudioFormat> inputFormat() override {
        const AudioFormat answer = format;
        if (const auto ended = std::exchange(silence, std::nullopt))
            co_await *ended;
        co_return AudioFormat(answer);
    }
    void installTap(std::uint32_t bufferSize, const AudioFormat& tapFormat, Tap installed) override {
        calls << QStringLiteral("installTap %1").arg(bufferSize);
        const std::lock_guard lock(mutex);
        if (tap)
            throw std::logic_error("there is a tap already");
        tapForm = tapFormat;
        tap = std::move(installed);
    }
    void removeTap() override {
        calls << QStringLiteral("removeTap");
        const std::lock_guard lock(mutex);
        tap = nullptr;
    }
    void prepare() override { calls << QStringLiteral("prepare"); }
    AudioClock::time_point start() override {
        calls << QStringLiteral("start");
        if (startError)
            std::rethrow_exception(startError);
        return AudioClock::now() - sinceOrigin;
    }
    void stop() override { calls << QStringLiteral("stop"); }

    bool hasTap() const {
        const std::lock_guard lock(mutex);
        return tap != nullptr;
    }
    /// Calls the tap, if set, under the lock that `removeTap()` waits for. Any thread.
    void deliver(const PCMBufferPtr& buffer) {
        const std::lock_guard lock(mutex);
        if (tap)
            tap(buffer);
    }
    /// The same with `value` in all channels of the tap's format.
    void deliver(float value, std::uint32_t frames) {
        auto buffer = std::make_shared<PCMBuffer>();
        buffer->format = format;
        buffer->frameLength = frames;
        buffer->floatChannels.assign(format.channelCount, std::vector<float>(frames, value));
        deliver(PCMBufferPtr(buffer));
    }

private:
    mutable std::mutex mutex;
    AudioFormat tapForm;
    Tap tap;
};

/// Audio hardware that counts existing objects and fails at chosen steps.
class FakeAudioHardware final : public AudioHardware {
public:
    std::map<QString, AudioStatus> failures; ///< status by the name of the operation, e.g. "createProcessTap"
    bool withoutProcedureIdentifier = false; ///< `createIOProc` succeeds but yields none
    std::optional<Promise<void>> silence;    ///< delays the next `findOutput()` until it is resolved
    QStringList calls;                       ///< names of the operations, in order
    TapDescription tapDescription;           ///< of the last tap made
    AggregateDeviceDescription deviceDescription;

    QCoro::Task<> findOutput() override {
        if (const auto ended = std::exchange(silence, std::nullopt))
            co_await *ended;
    }
    AudioStatus createProcessTap(const TapDescription& description, AudioObjectID& tap) override {
        tapDescription = description;
        return make(QStringLiteral("createProcessTap"), tap, 41);
    }
    AudioStatus destroyProcessTap(AudioObjectID tap) override {
        return end(QStringLiteral("destroyProcessTap"), tap, 41);
    }
    AudioStatus createAggregateDevice(
        const AggregateDeviceDescription& description, AudioObjectID& device) override {
        deviceDescription = description;
        return make(QStringLiteral("createAggregateDevice"), device, 42);
    }
    AudioStatus destroyAggregateDevice(AudioObjectID device) override {
        return end(QStringLiteral("destroyAggregateDevice"), device, 42);
    }
    AudioStatus createIOProc(
        AudioObjectID, SerialQueue& onQueue, IOProc callback, AudioIOProcID& proc) override {
        queue = &onQueue;
        ioProc = std::make_shared<const IOProc>(std::move(callback));
        if (withoutProcedureIdentifier) {
            proc = 0;
            return note(QStringLiteral("createIOProc"));
        }
        return make(QStringLiteral("createIOProc"), proc, 43);
    }
    AudioStatus destroyIOProc(AudioObjectID, AudioIOProcID proc) override {
        return end(QStringLiteral("destroyIOProc"), proc, 43);
    }
    AudioStatus startDevice(AudioObjectID, AudioIOProcID, AudioClock::time_point& origin) override {
        origin = AudioClock::now();
        return note(QStringLiteral("startDevice"));
    }
    AudioStatus stopDevice(AudioObjectID, AudioIOProcID) override {
        return note(QStringLiteral("stopDevice"));
    }

    int alive() const { return existing; } ///< taps, devices and procedures made and not destroyed

    /// One I/O callback on the procedure's queue: `channels` interleaved floats per frame, `byteSize` bytes.
    void deliver(std::uint32_t channels, std::vector<float> samples, std::uint32_t byteSize) {
        queue->async([proc = ioProc, channels, samples = std::move(samples), byteSize] {
            const AudioIOBuffer buffer{channels, byteSize, samples.empty() ? nullptr : samples.data()};
            (*proc)(std::span(&buffer, 1));
        });
    }
    void deliver(std::uint32_t channels, std::vector<float> samples) {
        const auto bytes = static_cast<std::uint32_t>(samples.size() * sizeof(float));
        deliver(channels, std::move(samples), bytes);
    }
    void deliverNothing() {
        queue->async([proc = ioProc] { (*proc)({}); });
    }
    void waitForCallbacks() {
        queue->sync([] {});
    }

private:
    AudioStatus note(const QString& operation) {
        calls << operation;
        const auto failure = failures.find(operation);
        return failure == failures.end() ? audioNoError : failure->second;
    }
    template <class Identifier>
    AudioStatus make(
        const QString& operation, Identifier& identifier, std::type_identity_t<Identifier> value) {
        const AudioStatus status = note(operation);
        if (status != audioNoError)
            return status;
        identifier = value;
        ++existing;
        return audioNoError;
    }
    template <class Identifier>
    AudioStatus end(const QString& operation, Identifier identifier, std::type_identity_t<Identifier> value) {
        const AudioStatus status = note(operation);
        if (identifier != value)
            throw std::logic_error("not what was made");
        --existing;
        return status;
    }

    int existing = 0;
    SerialQueue* queue = nullptr;
    std::shared_ptr<const IOProc> ioProc;
};

/// Converters that take every n-th frame of the first plane, where n is the ratio of the rates.
class FakeAudioConverterFactory final : public AudioConverterFactory {
public:
    bool refuses = false; ///< the pair of formats
    bool fails = false;   ///< each conversion
    std::atomic<int> made = 0;
    std::atomic<std::uint32_t> lastCapacity = 0;

    std::unique_ptr<AudioConverter> makeConverter(const AudioFormat& from, const AudioFormat& to) override {
        ++made;
        if (refuses)
            return nullptr;
        return std::make_unique<Converter>(*this, from, to);
    }

private:
    class Converter final : public AudioConverter {
    public:
        Converter(FakeAudioConverterFactory& owner, const AudioFormat& from, const AudioFormat& to)
            : factory(owner)
            , step(static_cast<std::size_t>(from.sampleRate / to.sampleRate)) {}
        bool convert(
            PCMBuffer& output, std::uint32_t capacity, const std::function<Input()>& input) override {
            factory.lastCapacity = capacity;
            for (Input next = input(); next.status == InputStatus::haveData; next = input())
                for (std::size_t i = 0; i < next.buffer->frameLength; i += step)
                    output.int16Samples.push_back(
                        static_cast<std::int16_t>(next.buffer->floatChannels[0][i] * 32'767.F));
            output.frameLength = static_cast<std::uint32_t>(output.int16Samples.size());
            return !factory.fails;
        }

    private:
        FakeAudioConverterFactory& factory;
        const std::size_t step;
    };
};

} // namespace tavro
