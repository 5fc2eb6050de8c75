#pragma once

#include "Core/FileDescriptor.h"
#include "Platform/PipeWire/PipeWireHandles.h"

#include <QString>

#include <cstdint>
#include <optional>

namespace tavro {

struct PipeWireFormat {
    int width = 0; ///< of the buffers, pixels
    int height = 0;
    bool isRgb = false; ///< red, green, blue, unused; otherwise blue, green, red, unused
};

/// A video stream that receives from one node, with its connection and its loop. Used by one thread. No call
/// waits for another process.
class PipeWireStream {
public:
    enum class State {
        waiting, ///< for the node: not connected yet, or paused
        streaming,
        failed ///< for good
    };

    /// Throws PlatformError "Tavro.PipeWire" 1 without a connection.
    explicit PipeWireStream(FileDescriptor remote);
    PipeWireStream(const PipeWireStream&) = delete;
    PipeWireStream& operator=(const PipeWireStream&) = delete;

    /// Asks for the node's pictures. Throws PlatformError "Tavro.PipeWire" 1.
    void connect(std::uint32_t node, bool pointerInMetadata);

    int descriptor() const; ///< readable when `iterate()` has something to do
    void iterate();

    State state() const;
    QString failure() const;                                               ///< why it has failed
    const std::optional<PipeWireFormat>& format() const { return agreed; } ///< of all buffers there are

    /// The oldest buffer that has come, null without one. It goes to `giveBack()` or `hold()` before the next
    /// `iterate()`.
    pw_buffer* next() { return pw_stream_dequeue_buffer(stream.get()); }
    void giveBack(pw_buffer& buffer) { pw_stream_queue_buffer(stream.get(), &buffer); }
    /// Keeps the buffer in place of the one held so far, which is given back.
    void hold(pw_buffer& buffer);
    int bufferCount() const { return buffers; } ///< that sender and receiver share
    /// Null when there is none, also after the sender has taken it away within `iterate()`.
    const pw_buffer* held() const { return kept; }

private:
    static const pw_stream_events streamEvents;
    static const pw_core_events coreEvents;
    void takeParameter(std::uint32_t id, const spa_pod* parameter);
    void offerBuffers();
    void lose(pw_buffer* buffer);

    bool withPointer = false;
    std::optional<PipeWireFormat> agreed;
    pw_buffer* kept = nullptr;
    int buffers = 0;
    std::optional<QString> broken; // the connection, and why

    spa_hook coreHook{};
    spa_hook streamHook{};
    PipeWireHandle<pw_loop> loop; // each is used by those that follow
    PipeWireHandle<pw_context> context;
    PipeWireHandle<pw_core> core;
    PipeWireHandle<pw_stream> stream;
};

} // namespace tavro
