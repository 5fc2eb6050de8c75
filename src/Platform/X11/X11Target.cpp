#include "Platform/X11/X11Target.h"

#include "Platform/Screen/PictureRegion.h"
#include "Platform/X11/X11Content.h"

#include <algorithm>
#include <xcb/composite.h>
#include <xcb/randr.h>

namespace tavro {
namespace {

template <class Event>
const Event& as(const xcb_generic_event_t& event) {
    return reinterpret_cast<const Event&>(event);
}

void selectStructureEvents(X11Connection& connection, xcb_window_t window) {
    const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection, window, XCB_CW_EVENT_MASK, &mask);
}

class DisplayTarget final : public X11Target {
public:
    DisplayTarget(X11Connection& x, std::uint32_t displayID)
        : X11Target(x, x.root(), QStringLiteral("display %1").arg(displayID))
        , id(displayID) {
        xcb_randr_select_input(connection, watched,
            XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE | XCB_RANDR_NOTIFY_MASK_RESOURCE_CHANGE);
        selectStructureEvents(connection, watched);
    }

    std::optional<TargetPlace> locate() override {
        // Reads beyond the screen fail. A monitor may extend beyond it while the screen changes.
        const auto screen = connection.reply(xcb_get_geometry_reply, xcb_get_geometry(connection, watched));
        for (const X11Monitor& monitor : listMonitors(connection)) {
            if (monitor.id != id || !screen)
                continue;
            const Rect area = intersected(monitor.area, {0, 0, screen->width, screen->height});
            if (!area.isEmpty())
                return TargetPlace{watched, area, area.x, area.y};
        }
        return std::nullopt;
    }

    bool isMovedBy(const xcb_generic_event_t& event) override {
        const int type = event.response_type & 0x7f;
        return type == connection.randrEvent + XCB_RANDR_SCREEN_CHANGE_NOTIFY ||
               type == connection.randrEvent + XCB_RANDR_NOTIFY ||
               (type == XCB_CONFIGURE_NOTIFY && as<xcb_configure_notify_event_t>(event).window == watched);
    }

private:
    const std::uint32_t id;
};

/// A window, read from its own pixmap, so covering windows do not show.
class WindowTarget final : public X11Target {
public:
    WindowTarget(X11Connection& x, xcb_window_t window)
        : X11Target(x, window, QStringLiteral("window %1").arg(window)) {
        selectStructureEvents(connection, watched);
        xcb_composite_redirect_window(connection, watched, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    }

    std::optional<TargetPlace> locate() override {
        const auto asked = xcb_get_window_attributes(connection, watched);
        const auto geometryAsked = xcb_get_geometry(connection, watched);
        const auto attributes = connection.reply(xcb_get_window_attributes_reply, asked);
        const auto geometry = connection.reply(xcb_get_geometry_reply, geometryAsked);
        if (!attributes || !geometry || attributes->map_state != XCB_MAP_STATE_VIEWABLE) {
            hasOtherPixmap = true;
            return std::nullopt;
        }
        const int border = geometry->border_width;
        TargetPlace place{pixmap, {border, border, geometry->width, geometry->height}, 0, 0};
        if (hasOtherPixmap || place.area != area)
            place.drawable = namePixmap();
        area = place.area;
        return place;
    }

    bool isMovedBy(const xcb_generic_event_t& event) override {
        switch (event.response_type & 0x7f) {
        case XCB_CONFIGURE_NOTIFY:
            return as<xcb_configure_notify_event_t>(event).window == watched;
        case XCB_UNMAP_NOTIFY:
            return as<xcb_unmap_notify_event_t>(event).window == watched;
        case XCB_DESTROY_NOTIFY:
            return as<xcb_destroy_notify_event_t>(event).window == watched;
        case XCB_MAP_NOTIFY:
            hasOtherPixmap = hasOtherPixmap || as<xcb_map_notify_event_t>(event).window == watched;
            return hasOtherPixmap;
        default:
            return false;
        }
    }

private:
    // A window gets a new pixmap when it is resized or shown again.
    xcb_pixmap_t namePixmap() {
        if (pixmap)
            xcb_free_pixmap(connection, pixmap);
        pixmap = xcb_generate_id(connection);
        xcb_composite_name_window_pixmap(connection, watched, pixmap);
        hasOtherPixmap = false;
        return pixmap;
    }

    xcb_pixmap_t pixmap = 0;
    bool hasOtherPixmap = true;
    Rect area;
};

} // namespace

std::unique_ptr<X11Target> X11Target::make(X11Connection& connection, const ContentFilter& filter) {
    if (filter.kind == ContentFilter::Kind::window)
        return std::make_unique<WindowTarget>(connection, filter.id);
    return std::make_unique<DisplayTarget>(connection, filter.id);
}

X11Target::X11Target(X11Connection& x, xcb_window_t window, QString name)
    : connection(x)
    , watched(window)
    , label(std::move(name))
    , damage(xcb_generate_id(x)) {
    xcb_damage_create(connection, damage, watched, XCB_DAMAGE_REPORT_LEVEL_BOUNDING_BOX);
}

X11Target::~X11Target() = default; // the connection's end releases server resources

std::optional<Rect> X11Target::damageIn(const xcb_generic_event_t& event, const TargetPlace& place) const {
    if ((event.response_type & 0x7f) != connection.damageEvent + XCB_DAMAGE_NOTIFY)
        return std::nullopt;
    const xcb_rectangle_t& drawn = as<xcb_damage_notify_event_t>(event).area;
    const Rect rect =
        intersected({drawn.x - place.originX, drawn.y - place.originY, drawn.width, drawn.height},
            {0, 0, place.area.width, place.area.height});
    return rect.isEmpty() ? std::nullopt : std::optional(rect);
}

void X11Target::clearDamage() {
    xcb_damage_subtract(connection, damage, XCB_NONE, XCB_NONE);
}

} // namespace tavro
