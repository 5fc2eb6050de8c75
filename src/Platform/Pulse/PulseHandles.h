#pragma once

#include <pulse/pulseaudio.h>

#include <memory>

namespace tavro::pulse {

template <auto release>
struct Release {
    template <class T>
    void operator()(T* handle) const {
        release(handle);
    }
};

using MainLoop = std::unique_ptr<pa_mainloop, Release<pa_mainloop_free>>;
using Context = std::unique_ptr<pa_context, Release<pa_context_unref>>;
using Stream = std::unique_ptr<pa_stream, Release<pa_stream_unref>>;
using Operation = std::unique_ptr<pa_operation, Release<pa_operation_unref>>;
using Properties = std::unique_ptr<pa_proplist, Release<pa_proplist_free>>;

} // namespace tavro::pulse
