#include "Screen.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <vector>
#include <xcb/shm.h>
#include <xcb/xcb.h>

namespace tavro::bench {

namespace {

struct Disconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};

// Shows `area` of the scene's picture on a larger screen, each pixel as a square of `factor`, and returns its
// place there.
Area enlarge(const std::uint32_t* picture, std::uint32_t* screen, const Area& area, int factor) {
    const int width = Scene::width * factor, shown = area.width * factor;
    for (int y = 0; y < area.height; ++y) {
        const std::uint32_t* from = picture + (area.y + y) * Scene::width + area.x;
        std::uint32_t* line = screen + (area.y + y) * factor * width + area.x * factor;
        for (int x = 0; x < area.width; ++x)
            std::fill_n(line + x * factor, factor, from[x]);
        for (int i = 1; i < factor; ++i)
            std::copy_n(line, shown, line + i * width);
    }
    return {area.x * factor, area.y * factor, shown, area.height * factor};
}

class XScreen : public Screen {
public:
    explicit XScreen(bool behind) : connection(xcb_connect(nullptr, nullptr)), x(connection.get()) {
        if (xcb_connection_has_error(x))
            throw std::runtime_error("no X display");
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(x)).data;
        depth = screen->root_depth;
        factor = std::max(1, screen->width_in_pixels / Scene::width);
        width = static_cast<std::uint16_t>(factor * Scene::width);
        height = static_cast<std::uint16_t>(factor * Scene::height);
        openWindow(*screen, behind);
        sharePixels();
        if (factor > 1)
            picture.resize(std::size_t(1) * Scene::width * Scene::height);
    }

    std::uint32_t* pixels() override { return picture.empty() ? memory : picture.data(); }

    void show(const Area& painted) override {
        const Area area = picture.empty() ? painted : enlarge(picture.data(), memory, painted, factor);
        xcb_shm_put_image(x, window, gc, width, height, static_cast<std::uint16_t>(area.x),
            static_cast<std::uint16_t>(area.y), static_cast<std::uint16_t>(area.width),
            static_cast<std::uint16_t>(area.height), static_cast<std::int16_t>(area.x),
            static_cast<std::int16_t>(area.y), depth, XCB_IMAGE_FORMAT_Z_PIXMAP, 0, segment, 0);
        if (!answered()) // the server reads the pixels until it answers
            throw std::runtime_error("the X server is gone");
    }

private:
    void openWindow(const xcb_screen_t& screen, bool behind) {
        window = xcb_generate_id(x);
        const std::uint32_t values[] = {1}; // no window manager in between
        xcb_create_window(x, depth, window, screen.root, 0, 0, width, height, 0,
            XCB_WINDOW_CLASS_INPUT_OUTPUT, screen.root_visual, XCB_CW_OVERRIDE_REDIRECT, values);
        const std::uint32_t below = XCB_STACK_MODE_BELOW;
        if (behind)
            xcb_configure_window(x, window, XCB_CONFIG_WINDOW_STACK_MODE, &below);
        xcb_map_window(x, window);
        gc = xcb_generate_id(x);
        xcb_create_gc(x, gc, window, 0, nullptr);
    }

    void sharePixels() {
        const int id = shmget(IPC_PRIVATE, std::size_t(4) * width * height, IPC_CREAT | 0600);
        memory = static_cast<std::uint32_t*>(shmat(id, nullptr, 0));
        segment = xcb_generate_id(x);
        xcb_shm_attach(x, segment, static_cast<std::uint32_t>(id), 0);
        answered();
        shmctl(id, IPC_RMID, nullptr);
    }

    bool answered() {
        const auto answer = xcb_get_input_focus_reply(x, xcb_get_input_focus(x), nullptr);
        std::free(answer);
        return answer != nullptr;
    }

    const std::unique_ptr<xcb_connection_t, Disconnect> connection;
    xcb_connection_t* const x;
    std::uint8_t depth = 0;
    int factor = 1;
    std::uint16_t width = 0, height = 0;
    xcb_window_t window = 0;
    xcb_gcontext_t gc = 0;
    xcb_shm_seg_t segment = 0;
    std::uint32_t* memory = nullptr;    // shared with the server
    std::vector<std::uint32_t> picture; // before it is enlarged
};

} // namespace

std::unique_ptr<Screen> openXScreen(bool behind) {
    return std::make_unique<XScreen>(behind);
}

} // namespace tavro::bench
