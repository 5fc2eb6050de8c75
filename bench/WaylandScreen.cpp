#include "Screen.h"

#include "xdg-shell-client-protocol.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace tavro::bench {

namespace {

template <auto function>
struct Call {
    template <class Object>
    void operator()(Object* object) const {
        function(object);
    }
};
template <class Object, auto destroy>
using Handle = std::unique_ptr<Object, Call<destroy>>;

template <class Object, auto destroy>
void bindTo(Handle<Object, destroy>& place, wl_registry* registry, std::uint32_t name,
    const wl_interface& interface, std::uint32_t version) {
    place.reset(static_cast<Object*>(wl_registry_bind(registry, name, &interface, version)));
}

/// The compositor may read a buffer until it releases it, so there are two.
struct Buffer {
    Handle<wl_buffer, wl_buffer_destroy> handle;
    std::uint32_t* pixels = nullptr;
    bool free = true;
    Area stale{}; // in comparison with what is shown
};

class WaylandScreen : public Screen {
public:
    WaylandScreen() : display(wl_display_connect(nullptr)) {
        if (!display)
            throw std::runtime_error("no Wayland display");
        registry.reset(wl_display_get_registry(display.get()));
        wl_registry_add_listener(registry.get(), &registryEvents, this);
        if (wl_display_roundtrip(display.get()) < 0 || !compositor || !memory || !shell)
            throw std::runtime_error("the compositor lacks what a window needs");
        openWindow();
        makeBuffers();
    }
    ~WaylandScreen() override { munmap(shared, 8 * size); }
    WaylandScreen(const WaylandScreen&) = delete;
    WaylandScreen& operator=(const WaylandScreen&) = delete;

    std::uint32_t* pixels() override { return picture.data(); }

    void show(const Area& area) override {
        Buffer& buffer = buffers[next];
        Buffer& other = buffers[next = 1 - next];
        wait([&] { return buffer.free; });
        copy(area, buffer.pixels);
        copy(buffer.stale, buffer.pixels);
        other.stale = area; // what is shown is its own picture with this area changed
        buffer.free = false;
        bool shown = false;
        const Handle<wl_callback, wl_callback_destroy> callback(wl_surface_frame(surface.get()));
        wl_callback_add_listener(callback.get(), &frameEvents, &shown);
        wl_surface_attach(surface.get(), buffer.handle.get(), 0, 0);
        wl_surface_damage_buffer(surface.get(), area.x, area.y, area.width, area.height);
        wl_surface_commit(surface.get());
        wait([&] { return shown; });
    }

private:
    static constexpr int width = Scene::width, height = Scene::height;
    static constexpr std::size_t size = std::size_t(1) * width * height;

    template <class Condition>
    void wait(Condition condition) {
        while (!condition())
            if (wl_display_dispatch(display.get()) < 0)
                throw std::runtime_error("the compositor is gone");
    }

    void openWindow() {
        xdg_wm_base_add_listener(shell.get(), &shellEvents, nullptr);
        surface.reset(wl_compositor_create_surface(compositor.get()));
        shellSurface.reset(xdg_wm_base_get_xdg_surface(shell.get(), surface.get()));
        xdg_surface_add_listener(shellSurface.get(), &surfaceEvents, this);
        window.reset(xdg_surface_get_toplevel(shellSurface.get()));
        xdg_toplevel_add_listener(window.get(), &windowEvents, nullptr);
        xdg_toplevel_set_title(window.get(), "tavro-painter");
        wl_surface_commit(surface.get());
        wait([&] { return configured; });
    }

    void makeBuffers() {
        const int file = memfd_create("tavro-painter", MFD_CLOEXEC);
        const bool sized = ftruncate(file, static_cast<off_t>(8 * size)) == 0;
        shared = mmap(nullptr, 8 * size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        if (!sized || shared == MAP_FAILED)
            throw std::runtime_error("no memory for the pictures");
        const Handle<wl_shm_pool, wl_shm_pool_destroy> pool(
            wl_shm_create_pool(memory.get(), file, static_cast<std::int32_t>(8 * size)));
        close(file);
        for (int i = 0; i < 2; ++i) {
            buffers[i].handle.reset(wl_shm_pool_create_buffer(pool.get(),
                static_cast<std::int32_t>(4 * size) * i, width, height, 4 * width, WL_SHM_FORMAT_XRGB8888));
            wl_buffer_add_listener(buffers[i].handle.get(), &bufferEvents, &buffers[i]);
            buffers[i].pixels = static_cast<std::uint32_t*>(shared) + i * size;
        }
    }

    void copy(const Area& area, std::uint32_t* to) const {
        for (int y = area.y; y < area.y + area.height; ++y) {
            const std::size_t start = static_cast<std::size_t>(y) * width + area.x;
            std::copy_n(picture.data() + start, area.width, to + start);
        }
    }

    static void offered(
        void* data, wl_registry* registry, std::uint32_t name, const char* interface, std::uint32_t) {
        auto* self = static_cast<WaylandScreen*>(data);
        const std::string_view offer = interface;
        if (offer == wl_compositor_interface.name)
            bindTo(self->compositor, registry, name, wl_compositor_interface, 4);
        else if (offer == wl_shm_interface.name)
            bindTo(self->memory, registry, name, wl_shm_interface, 1);
        else if (offer == xdg_wm_base_interface.name)
            bindTo(self->shell, registry, name, xdg_wm_base_interface, 1);
    }
    static constexpr wl_registry_listener registryEvents{
        .global = offered, .global_remove = [](void*, wl_registry*, std::uint32_t) {}};
    static constexpr xdg_wm_base_listener shellEvents{
        .ping = [](void*, xdg_wm_base* base, std::uint32_t serial) { xdg_wm_base_pong(base, serial); }};
    static void configure(void* data, xdg_surface* surface, std::uint32_t serial) {
        xdg_surface_ack_configure(surface, serial);
        static_cast<WaylandScreen*>(data)->configured = true;
    }
    static constexpr xdg_surface_listener surfaceEvents{.configure = configure};
    static constexpr xdg_toplevel_listener windowEvents{
        .configure = [](void*, xdg_toplevel*, std::int32_t, std::int32_t, wl_array*) {},
        .close = [](void*, xdg_toplevel*) {},
        .configure_bounds = nullptr,
        .wm_capabilities = nullptr}; // these two are of later versions
    static constexpr wl_buffer_listener bufferEvents{
        .release = [](void* data, wl_buffer*) { static_cast<Buffer*>(data)->free = true; }};
    static constexpr wl_callback_listener frameEvents{
        .done = [](void* data, wl_callback*, std::uint32_t) { *static_cast<bool*>(data) = true; }};

    const Handle<wl_display, wl_display_disconnect> display;
    Handle<wl_registry, wl_registry_destroy> registry;
    Handle<wl_compositor, wl_compositor_destroy> compositor;
    Handle<wl_shm, wl_shm_destroy> memory;
    Handle<xdg_wm_base, xdg_wm_base_destroy> shell;
    Handle<wl_surface, wl_surface_destroy> surface;
    Handle<xdg_surface, xdg_surface_destroy> shellSurface;
    Handle<xdg_toplevel, xdg_toplevel_destroy> window;
    bool configured = false;
    void* shared = MAP_FAILED; // both buffers
    Buffer buffers[2];
    int next = 0;
    std::vector<std::uint32_t> picture = std::vector<std::uint32_t>(size);
};

} // namespace

std::unique_ptr<Screen> openWaylandScreen() {
    return std::make_unique<WaylandScreen>();
}

} // namespace tavro::bench
