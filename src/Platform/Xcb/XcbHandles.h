#pragma once

#include <cstdlib>
#include <memory>

namespace tavro {

struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};

/// A reply, an event or an error; the receiver frees it.
template <class Message>
using XcbHandle = std::unique_ptr<Message, FreeMemory>;

} // namespace tavro
