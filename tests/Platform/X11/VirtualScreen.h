#pragma once

#include "Platform/ScreenCapture.h"
#include "Platform/X11/X11Connection.h"

#include <array>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tavro::test {

using Color = std::array<int, 3>; ///< red, green, blue

/// An X server of the test's own, without a window manager, and a client that draws on it.
class VirtualScreen {
public:
    VirtualScreen(int width, int height);
    ~VirtualScreen();

    const QByteArray& display() const { return name; }
    X11Connection& connection() { return *client; }
    xcb_window_t root() const { return client->root(); }

    // Each returns when the server has done it.
    xcb_window_t openWindow(const Rect& rect, Color background);
    void fill(xcb_drawable_t drawable, const Rect& rect, Color color);
    void resize(xcb_window_t window, int width, int height);
    void raise(xcb_window_t window);
    void unmap(xcb_window_t window);
    void map(xcb_window_t window);
    void destroy(xcb_window_t window);
    void movePointer(int x, int y);                               ///< as a mouse does
    std::uint32_t setMonitor(const char* name, const Rect& rect); ///< the display's number
    void removeMonitor(const char* name);
    void setScreenSize(int width, int height);

    void kill();   ///< as a crash
    void freeze(); ///< stops answering

private:
    void sync();
    bool xrandr(const std::string& arguments);

    pid_t server = 0;
    QByteArray name;
    std::unique_ptr<X11Connection> client;
    xcb_gcontext_t context = 0;
};

/// What a standard decoder makes of a frame's pixel.
Color colorAt(const VideoFrame& frame, int x, int y);
bool isNear(const Color& seen, const Color& expected, int tolerance = 3);
bool samePicture(const VideoFrame& a, const VideoFrame& b);
/// Whether `next` differs from `before` only where its damage says so.
bool damageCovers(const VideoFrame& before, const VideoFrame& next);

/// A running capture and its frames, checked as they come: times and sequence rise, damage tells all changes.
class Recording {
public:
    /// Waits for the first picture; throws what keeps the capture from starting.
    Recording(ScreenCaptureService& service, const ContentFilter& filter);
    ~Recording();

    const VideoFrame& latest() const { return *frames.back(); }
    Color at(int x, int y) const { return colorAt(latest(), x, y); }
    bool waitForColor(int x, int y, Color color);
    /// Waits for frames more; false when they do not come.
    bool waitForFrames(std::size_t more);
    void stop();

    std::unique_ptr<ScreenStream> stream;
    std::vector<VideoFramePtr> frames; ///< the latest few
    std::size_t count = 0;
};

/// The picture as a capture that begins now sees it.
VideoFramePtr freshPicture(ScreenCaptureService& service, const ContentFilter& filter);

} // namespace tavro::test
