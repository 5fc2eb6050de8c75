#include "Platform/X11/X11Cursor.h"

#include <xcb/xfixes.h>
#include <xcb/xinput.h>

namespace tavro {

X11Cursor::X11Cursor(X11Connection& x11) : connection(x11) {
    xcb_xfixes_select_cursor_input(
        connection, connection.root(), XCB_XFIXES_CURSOR_NOTIFY_MASK_DISPLAY_CURSOR);
    if (!connection.inputOpcode)
        return;
    // Raw motion events arrive despite pointer grabs and over every window.
    struct {
        xcb_input_event_mask_t head;
        std::uint32_t mask;
    } const selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, XCB_INPUT_XI_EVENT_MASK_RAW_MOTION};
    xcb_input_xi_select_events(connection, connection.root(), 1, &selection.head);
}

bool X11Cursor::handle(const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7f;
    if (type == connection.fixesEvent + XCB_XFIXES_CURSOR_NOTIFY) {
        imageChanged = true;
        return true;
    }
    const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(event);
    if (type == XCB_GE_GENERIC && connection.inputOpcode && generic.extension == connection.inputOpcode &&
        generic.event_type == XCB_INPUT_RAW_MOTION) {
        moved = true;
        return true;
    }
    return false;
}

bool X11Cursor::update(const X11Target& target, const TargetPlace& place) {
    const bool changed = imageChanged;
    if (imageChanged) {
        const auto reply =
            connection.reply(xcb_xfixes_get_cursor_image_reply, xcb_xfixes_get_cursor_image(connection));
        image = {};
        if (reply) {
            const std::uint32_t* pixels = xcb_xfixes_get_cursor_image_cursor_image(reply.get());
            image = {reply->width, reply->height, reply->xhot, reply->yhot,
                {pixels, pixels + xcb_xfixes_get_cursor_image_cursor_image_length(reply.get())}};
        }
    }
    imageChanged = false;
    moved = false;
    const Rect before = area();
    const auto pointer =
        connection.reply(xcb_query_pointer_reply, xcb_query_pointer(connection, target.watchedWindow()));
    isThere = pointer && pointer->same_screen;
    if (isThere) {
        x = pointer->win_x - place.originX;
        y = pointer->win_y - place.originY;
    }
    return changed || !(area() == before);
}

Rect X11Cursor::area() const {
    return isThere ? Rect{x - image.hotX, y - image.hotY, image.width, image.height} : Rect{};
}

void X11Cursor::drawInto(const PixelView& view) const {
    if (isThere)
        blendCursor(view, image, x - image.hotX, y - image.hotY);
}

} // namespace tavro
