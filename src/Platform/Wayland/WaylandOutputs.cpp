#include "Platform/Wayland/WaylandOutputs.h"

#include "Core/Errors.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <memory>
#include <optional>
#include <poll.h>
#include <tuple>
#include <wayland-client.h>
#include <xdg-output-unstable-v1-client-protocol.h>

namespace tavro {
namespace {

using Clock = std::chrono::steady_clock;

template <auto destroy>
struct Destroy {
    void operator()(auto* object) const { destroy(object); }
};
using Display = std::unique_ptr<wl_display, Destroy<wl_display_disconnect>>;
using Registry = std::unique_ptr<wl_registry, Destroy<wl_registry_destroy>>;
using Callback = std::unique_ptr<wl_callback, Destroy<wl_callback_destroy>>;
using Output = std::unique_ptr<wl_output, Destroy<wl_output_destroy>>;
using XdgOutput = std::unique_ptr<zxdg_output_v1, Destroy<zxdg_output_v1_destroy>>;
using XdgOutputManager = std::unique_ptr<zxdg_output_manager_v1, Destroy<zxdg_output_manager_v1_destroy>>;

PlatformError waylandError(int code, const QString& message) {
    return PlatformError(QStringLiteral("Tavro.Wayland"), code, message);
}

/// What the compositor tells of one output.
struct Told {
    Output output;
    XdgOutput xdgOutput;
    QString connector, description, make, model;
    QPoint position; ///< used without xdg-output
    int scale = 1;
    bool isRotated = false; ///< by a quarter
    QSize mode;
    std::optional<QPoint> logicalPosition;
    std::optional<QSize> logicalSize;
};

WaylandOutput described(const Told& told) {
    const QSize pixels = told.isRotated ? told.mode.transposed() : told.mode;
    const QRect area(
        told.logicalPosition.value_or(told.position), told.logicalSize.value_or(pixels / told.scale));
    return {told.connector, told.description, told.make, told.model, area, pixels};
}

Told& at(void* told) {
    return *static_cast<Told*>(told);
}

constexpr wl_output_listener outputListener{
    .geometry =
        [](void* told, wl_output*, int x, int y, int, int, int, const char* make, const char* model,
            int transform) {
            at(told).position = {x, y};
            at(told).make = QString::fromUtf8(make);
            at(told).model = QString::fromUtf8(model);
            at(told).isRotated = (transform & WL_OUTPUT_TRANSFORM_90) != 0; // as in 270 and the flipped ones
        },
    .mode =
        [](void* told, wl_output*, unsigned flags, int width, int height, int) {
            if (flags & WL_OUTPUT_MODE_CURRENT)
                at(told).mode = {width, height};
        },
    .done = [](void*, wl_output*) {},
    .scale = [](void* told, wl_output*, int scale) { at(told).scale = std::max(scale, 1); },
    .name = [](void* told, wl_output*, const char* name) { at(told).connector = QString::fromUtf8(name); },
    .description = [](void* told, wl_output*,
                       const char* text) { at(told).description = QString::fromUtf8(text); },
};

constexpr zxdg_output_v1_listener xdgOutputListener{
    .logical_position =
        [](void* told, zxdg_output_v1*, int x, int y) {
            at(told).logicalPosition = {x, y};
        },
    .logical_size =
        [](void* told, zxdg_output_v1*, int width, int height) {
            at(told).logicalSize = {width, height};
        },
    .done = [](void*, zxdg_output_v1*) {},
    // Compositors whose wl_output has no name yet tell it here.
    .name = [](void* told, zxdg_output_v1*,
                const char* name) { at(told).connector = QString::fromUtf8(name); },
    .description = [](void* told, zxdg_output_v1*,
                       const char* text) { at(told).description = QString::fromUtf8(text); },
};

class Compositor {
public:
    explicit Compositor(Clock::time_point untilGiven) : until(untilGiven), display(wl_display_connect({})) {
        if (!display)
            throw waylandError(1, QStringLiteral("There is no Wayland compositor"));
    }

    const std::deque<Told>& outputs() {
        static constexpr wl_registry_listener listener{
            .global =
                [](void* compositor, wl_registry*, std::uint32_t name, const char* interface,
                    std::uint32_t version) {
                    static_cast<Compositor*>(compositor)->add(name, interface, version);
                },
            .global_remove = [](void*, wl_registry*, std::uint32_t) {},
        };
        registry.reset(wl_display_get_registry(display.get()));
        wl_registry_add_listener(registry.get(), &listener, this);
        roundTrip();
        for (Told& told : found) {
            if (!manager)
                break;
            told.xdgOutput.reset(zxdg_output_manager_v1_get_xdg_output(manager.get(), told.output.get()));
            zxdg_output_v1_add_listener(told.xdgOutput.get(), &xdgOutputListener, &told);
        }
        roundTrip();
        return found;
    }

private:
    void add(std::uint32_t name, const char* interface, std::uint32_t version) {
        const auto bind = [&](const wl_interface& wanted, std::uint32_t newest) {
            return wl_registry_bind(registry.get(), name, &wanted, std::min(version, newest));
        };
        if (std::strcmp(interface, wl_output_interface.name) == 0) {
            Told& told = found.emplace_back();
            told.output.reset(static_cast<wl_output*>(bind(wl_output_interface, 4)));
            wl_output_add_listener(told.output.get(), &outputListener, &told);
        } else if (std::strcmp(interface, zxdg_output_manager_v1_interface.name) == 0) {
            manager.reset(static_cast<zxdg_output_manager_v1*>(bind(zxdg_output_manager_v1_interface, 3)));
        }
    }

    /// Returns when the compositor has answered all earlier requests.
    void roundTrip() {
        bool answered = false;
        static constexpr wl_callback_listener listener{
            .done = [](void* flag, wl_callback*, std::uint32_t) { *static_cast<bool*>(flag) = true; }};
        const Callback callback(wl_display_sync(display.get()));
        wl_callback_add_listener(callback.get(), &listener, &answered);
        while (!answered) {
            if (wl_display_prepare_read(display.get()) == 0)
                read();
            if (wl_display_dispatch_pending(display.get()) < 0)
                throw noAnswer();
        }
    }

    void read() {
        wl_display_flush(display.get());
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
        pollfd readable{wl_display_get_fd(display.get()), POLLIN, 0};
        if (::poll(&readable, 1, std::max(0, static_cast<int>(left.count()))) > 0) {
            if (wl_display_read_events(display.get()) < 0)
                throw noAnswer();
            return;
        }
        wl_display_cancel_read(display.get());
        if (Clock::now() >= until)
            throw noAnswer();
    }

    static PlatformError noAnswer() {
        return waylandError(2, QStringLiteral("The Wayland compositor does not answer"));
    }

    const Clock::time_point until;
    const Display display;
    Registry registry;
    XdgOutputManager manager;
    std::deque<Told> found; // the listeners know their addresses
};

} // namespace

std::vector<WaylandOutput> listOutputs(std::chrono::milliseconds limit) {
    Compositor compositor(Clock::now() + limit);
    std::vector<WaylandOutput> list;
    for (const Told& told : compositor.outputs())
        list.push_back(described(told));
    std::ranges::sort(list, {}, [](const WaylandOutput& output) {
        return std::tuple(output.area.x(), output.area.y(), output.connector);
    });
    return list;
}

} // namespace tavro
