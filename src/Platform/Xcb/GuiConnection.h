#pragma once

#include "Platform/Xcb/XcbHandles.h"

#include <QByteArray>
#include <QGuiApplication>
#include <xcb/xcb.h>

/// Requests on Qt's own connection. Main thread.
namespace tavro::gui {

/// Null without an X server or an application object.
inline xcb_connection_t* connection() {
    const auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

inline xcb_atom_t atom(xcb_connection_t* x, const QByteArray& name) {
    const auto asked = xcb_intern_atom(x, 0, static_cast<std::uint16_t>(name.size()), name.constData());
    const XcbHandle<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(x, asked, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

inline xcb_window_t selectionOwner(xcb_connection_t* x, xcb_atom_t selection) {
    const auto asked = xcb_get_selection_owner(x, selection);
    const XcbHandle<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(x, asked, nullptr));
    return reply ? reply->owner : xcb_window_t{XCB_WINDOW_NONE};
}

} // namespace tavro::gui
