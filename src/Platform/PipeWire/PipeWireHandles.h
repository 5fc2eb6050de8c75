#pragma once

#include <memory>
#include <pipewire/pipewire.h>

namespace tavro {

struct FreePipeWire {
    void operator()(pw_loop* loop) const {
        pw_loop_leave(loop);
        pw_loop_destroy(loop);
    }
    void operator()(pw_context* context) const { pw_context_destroy(context); }
    void operator()(pw_core* core) const { pw_core_disconnect(core); }
    void operator()(pw_stream* stream) const { pw_stream_destroy(stream); }
};

/// Owns an object of libpipewire; a loop that its thread has entered.
template <class T>
using PipeWireHandle = std::unique_ptr<T, FreePipeWire>;

} // namespace tavro
