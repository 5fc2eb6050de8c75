#pragma once

#include "Platform/X11/X11Connection.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <xcb/shm.h>

namespace tavro {

/// Memory shared with the X server, which copies pixels into it.
class ShmImage {
public:
    /// Throws PlatformError "Tavro.X11" 4 without memory, or when the server cannot attach it (remote).
    ShmImage(X11Connection& connection, std::size_t bytes);
    ~ShmImage();
    ShmImage(const ShmImage&) = delete;
    ShmImage& operator=(const ShmImage&) = delete;

    xcb_shm_seg_t segment() const { return id; }
    std::uint8_t* data() const { return memory; }
    std::size_t size() const { return length; }
    /// Returns the memory to the system until the next write.
    void forget();

private:
    X11Connection& connection;
    const std::size_t length;
    std::uint8_t* memory = nullptr;
    xcb_shm_seg_t id = 0;
};

} // namespace tavro
