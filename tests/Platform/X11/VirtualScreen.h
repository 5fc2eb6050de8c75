#pragma once

#include "Platform/ScreenCapture.h"
#include "Platform/X11/X11Connection.h"

#include <QStringList>

#include <array>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tavro::test {

using Color = std::array<int, 3>; ///< red, green, blue

/// A private X server without a window manager, and a client that draws.
class VirtualScreen {
public:
    /// With a depth other than 24 there is no client, and only `display()` can be used.
    VirtualScreen(int width, int height, int depth = 24);
    ~VirtualScreen();

    const QByteArray& display() const { return name; }
    X11Connection& connection() { return *client; }
    xcb_window_t root() const { return client->root(); }

    // These return after the server has executed them.
    xcb_window_t openWindow(const Rect& rect, Color background);
    void fill(xcb_drawable_t drawable, const Rect& rect, Color color);
    void resize(xcb_window_t window, int width, int height);
    void raise(xcb_window_t window);
    void unmap(xcb_window_t window);
    void map(xcb_window_t window);
    void destroy(xcb_window_t window);
    void movePointer(int x, int y);                               ///< like a mouse
    std::uint32_t setMonitor(const char* name, const Rect& rect); ///< the display's id
    void removeMonitor(const char* name);
    void setScreenSize(int width, int height);

    void kill();   ///< like a crash
    void freeze(); ///< stops answering
    void thaw();

private:
    void sync();
    bool xrandr(const std::string& arguments);

    pid_t server = 0;
    QByteArray name;
    std::unique_ptr<X11Connection> client;
    xcb_gcontext_t context = 0;
};

/// The decoded colour of a frame's pixel.
Color colorAt(const VideoFrame& frame, int x, int y);
bool isNear(const Color& seen, const Color& expected, int tolerance = 3);
bool samePicture(const VideoFrame& a, const VideoFrame& b);
/// True when `next` differs from `before` only inside its damage.
bool damageCovers(const VideoFrame& before, const VideoFrame& next);

/// A running capture. Checks each frame: times and sequence rise, damage covers all changes.
class Recording {
public:
    /// Waits for the first picture. Throws the error of the start.
    Recording(ScreenCaptureService& service, const ContentFilter& filter);
    ~Recording();

    const VideoFrame& latest() const { return *frames.back(); }
    Color at(int x, int y) const { return colorAt(latest(), x, y); }
    bool waitForColor(int x, int y, Color color);
    bool waitForFrames(std::size_t more);
    void stop();

    std::unique_ptr<ScreenStream> stream;
    std::vector<VideoFramePtr> frames; ///< the latest few
    std::size_t count = 0;
    QStringList failures; ///< that ended the capture by itself
};

/// The first picture of a new capture.
VideoFramePtr freshPicture(ScreenCaptureService& service, const ContentFilter& filter);

} // namespace tavro::test
