#pragma once

#include "Platform/X11/X11Connection.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <xcb/shm.h>

namespace tavro {

/// Memory shared with the X server, into which it copies pixels.
class ShmImage {
public:
    /// Throws PlatformError "Tavro.X11" 4 when there is none or the server cannot attach it (it runs
    /// elsewhere).
    ShmImage(X11Connection& connection, std::size_t bytes);
    ~ShmImage();
    ShmImage(const ShmImage&) = delete;
    ShmImage& operator=(const ShmImage&) = delete;

    xcb_shm_seg_t segment() const { return id; }
    std::uint8_t* data() const { return memory; }
    std::size_t size() const { return length; }
    /// Gives the memory back to the system until it is written to again.
    void forget();

private:
    X11Connection& connection;
    const std::size_t length;
    std::uint8_t* memory = nullptr;
    xcb_shm_seg_t id = 0;
};

} // namespace tavro
