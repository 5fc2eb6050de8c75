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

/// The form of a PCM stream.
struct AudioFormat {
    enum class Sample { float32, int16 };
    Sample sample = Sample::float32;
    double sampleRate = 0; ///< Hz
    std::uint32_t channelCount = 0;
    bool interleaved = false;
    bool operator==(const AudioFormat&) const = default;
};

/// PCM samples of one format. Float buffers hold one plane a channel; 16-bit buffers are interleaved.
struct PCMBuffer {
    AudioFormat format;
    std::uint32_t frameLength = 0;
    std::vector<std::vector<float>> floatChannels;
    std::vector<std::int16_t> int16Samples;
};

using PCMBufferPtr = std::shared_ptr<const PCMBuffer>;

/// A line of sound tells the moment of its first sample by this.
using AudioClock = std::chrono::steady_clock;

/// The default input device, read through one tap. It follows the default when the user or the system changes
/// it, and comes back by itself when the sound server or the device does; meanwhile, and from one tap buffer
/// to the next, the tap's time line stays the wall clock's: what is missing arrives as silence. Main thread;
/// no call but the question waits for the sound server.
class AudioEngine {
public:
    /// Called on the engine's own thread.
    using Tap = std::function<void(const PCMBufferPtr&)>;

    virtual ~AudioEngine() = default;
    /// Asks for the default source's own rate and channels; 0 and 0 when there is no usable input.
    virtual QCoro::Task<AudioFormat> inputFormat() = 0;
    virtual void installTap(std::uint32_t bufferSize, const AudioFormat& format, Tap tap) = 0;
    /// No call of the tap begins, or is under way, after this has returned: it waits for the engine's thread.
    virtual void removeTap() = 0;
    virtual void prepare() = 0;
    /// After the tap. Returns when the first sample was, or will be, at the device. Throws the PlatformError
    /// by which the last question was refused; a server that does not answer is silent until it does.
    virtual AudioClock::time_point start() = 0;
    virtual void stop() = 0;
};

/// A streaming converter between two formats; it keeps its state between calls.
class AudioConverter {
public:
    enum class InputStatus { haveData, noDataNow };
    struct Input {
        InputStatus status;
        PCMBufferPtr buffer;
    };
    virtual ~AudioConverter() = default;
    /// Asks `input` for buffers until it has no data now, and writes at most `capacity` frames of the target
    /// format into `output`. False on an error.
    virtual bool convert(PCMBuffer& output, std::uint32_t capacity, const std::function<Input()>& input) = 0;
};

class AudioConverterFactory {
public:
    virtual ~AudioConverterFactory() = default;
    /// Null when the pair of formats is refused. Any thread.
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

/// One buffer of an I/O callback: interleaved 32-bit float.
struct AudioIOBuffer {
    std::uint32_t channelCount = 0;
    std::uint32_t byteSize = 0;
    const void* data = nullptr;
};

/// What the computer plays, as a tap read through a device. Every call tells its outcome, and none but the
/// question waits for the sound server. Main thread. The device follows the default output and outlives the
/// sound server like the input of `AudioEngine` does.
class AudioHardware {
public:
    using IOProc = std::function<void(std::span<const AudioIOBuffer>)>;

    virtual ~AudioHardware() = default;
    /// Asks for the default output; `createProcessTap` tells what came of it.
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
    /// `origin`: when the first sample was, or will be, at the device.
    virtual AudioStatus startDevice(
        AudioObjectID device, AudioIOProcID proc, AudioClock::time_point& origin) = 0;
    /// No call of the callback is handed to its queue after this has returned.
    virtual AudioStatus stopDevice(AudioObjectID device, AudioIOProcID proc) = 0;
};

} // namespace tavro
