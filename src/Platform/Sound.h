#pragma once

#include <QString>
#include <qcoro/qcorotask.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <variant>
#include <vector>

namespace tavro {

class SerialQueue;

struct AudioFormat {
    enum class Sample { float32, int16 };
    Sample sample = Sample::float32;
    double sampleRate = 0; ///< Hz
    std::uint32_t channelCount = 0;
    bool interleaved = false;
    bool operator==(const AudioFormat&) const = default;
};

/// PCM samples of one format. Float buffers hold one plane per channel; 16-bit buffers are interleaved.
struct PCMBuffer {
    AudioFormat format;
    std::uint32_t frameLength = 0;
    std::vector<std::vector<float>> floatChannels;
    std::vector<std::int16_t> int16Samples;
};

using PCMBufferPtr = std::shared_ptr<const PCMBuffer>;

/// The clock of a stream's origin, which is the time of its first sample.
using AudioClock = std::chrono::steady_clock;

/// The default input device, read through one tap. It follows changes of the default and reconnects after a
/// loss of the sound server or the device. The tap's time line follows the wall clock: silence replaces
/// missing sound. Main thread. Only `inputFormat()` waits for the sound server.
class AudioEngine {
public:
    /// Called on the engine's own thread.
    using Tap = std::function<void(const PCMBufferPtr&)>;

    virtual ~AudioEngine() = default;
    /// Queries the default source's own rate and channels; both are 0 when there is no usable input.
    virtual QCoro::Task<AudioFormat> inputFormat() = 0;
    virtual void installTap(std::uint32_t bufferSize, const AudioFormat& format, Tap tap) = 0;
    /// Waits for the engine's thread. The tap is neither running nor called again after the return.
    virtual void removeTap() = 0;
    virtual void prepare() = 0;
    /// After `installTap()`. Returns the time of the first sample at the device, past or future. Throws the
    /// error of the last `inputFormat()`. The tap gets silence until the server answers.
    virtual AudioClock::time_point start() = 0;
    virtual void stop() = 0;
};

/// A streaming converter between two formats. It keeps its state between calls.
class AudioConverter {
public:
    enum class InputStatus { haveData, noDataNow };
    struct Input {
        InputStatus status;
        PCMBufferPtr buffer;
    };
    virtual ~AudioConverter() = default;
    /// Calls `input` until `noDataNow`. Writes at most `capacity` frames into `output`. False on an error.
    virtual bool convert(PCMBuffer& output, std::uint32_t capacity, const std::function<Input()>& input) = 0;
};

class AudioConverterFactory {
public:
    virtual ~AudioConverterFactory() = default;
    /// Null when the pair of formats is not supported. Any thread.
    virtual std::unique_ptr<AudioConverter> makeConverter(const AudioFormat& from, const AudioFormat& to) = 0;
};

using AudioStatus = std::int32_t; ///< 0 is success
inline constexpr AudioStatus audioNoError = 0;
using AudioObjectID = std::uint32_t; ///< 0 is none
using AudioIOProcID = std::uint64_t; ///< 0 is none

struct TapDescription {
    QString uuid;
    QString name;
    bool isPrivate = true;
    bool muted = false;
};

struct AggregateDeviceDescription {
    QString uid;
    QString name;
    bool isPrivate = true;
    std::vector<QString> tapUUIDs;
    bool tapAutoStart = true;
};

/// Interleaved 32-bit float.
struct AudioIOBuffer {
    std::uint32_t channelCount = 0;
    std::uint32_t byteSize = 0;
    const void* data = nullptr;
};

/// The computer's sound output, captured by a tap and read through a device. Main thread. Only `findOutput()`
/// waits for the server. Follows the default output and reconnects, like `AudioEngine`.
class AudioHardware {
public:
    using IOProc = std::function<void(std::span<const AudioIOBuffer>)>;

    virtual ~AudioHardware() = default;
    /// Queries the default output. `createProcessTap` returns the status of this query.
    virtual QCoro::Task<> findOutput() = 0;
    virtual AudioStatus createProcessTap(const TapDescription& description, AudioObjectID& tap) = 0;
    virtual AudioStatus destroyProcessTap(AudioObjectID tap) = 0;
    virtual AudioStatus createAggregateDevice(
        const AggregateDeviceDescription& description, AudioObjectID& device) = 0;
    virtual AudioStatus destroyAggregateDevice(AudioObjectID device) = 0;
    /// `callback` runs on `queue`, which outlives the procedure.
    virtual AudioStatus createIOProc(
        AudioObjectID device, SerialQueue& queue, IOProc callback, AudioIOProcID& proc) = 0;
    virtual AudioStatus destroyIOProc(AudioObjectID device, AudioIOProcID proc) = 0;
    /// Sets `origin` to the time of the first sample at the device, past or future.
    virtual AudioStatus startDevice(
        AudioObjectID device, AudioIOProcID proc, AudioClock::time_point& origin) = 0;
    /// No callback is queued after the return.
    virtual AudioStatus stopDevice(AudioObjectID device, AudioIOProcID proc) = 0;
};

} // namespace tavro
