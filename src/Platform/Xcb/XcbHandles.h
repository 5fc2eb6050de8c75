#pragma once

#include <cstdlib>
#include <memory>

namespace tavro {

struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};

/// A reply, an event or an error: all that XCB hands over is the receiver's to free.
template <class Message>
using XcbHandle = std::unique_ptr<Message, FreeMemory>;

} // namespace tavro
