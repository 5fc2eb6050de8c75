#include "Platform/X11/X11Content.h"

#include <algorithm>
#include <xcb/randr.h>

namespace tavro {
namespace {

using PropertyReply = XcbHandle<xcb_get_property_reply_t>;

std::vector<xcb_window_t> managedWindows(X11Connection& x) {
    const xcb_atom_t list = x.atom("_NET_CLIENT_LIST");
    if (!list)
        return {};
    const PropertyReply property =
        x.reply(xcb_get_property_reply, xcb_get_property(x, 0, x.root(), list, XCB_ATOM_WINDOW, 0, 4096));
    if (!property || property->format != 32)
        return {};
    const auto* windows = static_cast<const xcb_window_t*>(xcb_get_property_value(property.get()));
    return {windows, windows + xcb_get_property_value_length(property.get()) / int(sizeof(xcb_window_t))};
}

std::vector<xcb_window_t> rootsChildren(X11Connection& x) {
    const auto tree = x.reply(xcb_query_tree_reply, xcb_query_tree(x, x.root()));
    if (!tree)
        return {};
    const xcb_window_t* windows = xcb_query_tree_children(tree.get());
    return {windows, windows + xcb_query_tree_children_length(tree.get())};
}

QString textOf(const PropertyReply& property, bool utf8) {
    if (!property || property->format != 8)
        return {};
    const auto* text = static_cast<const char*>(xcb_get_property_value(property.get()));
    const int length = xcb_get_property_value_length(property.get());
    return utf8 ? QString::fromUtf8(text, length) : QString::fromLatin1(text, length);
}

} // namespace

std::vector<X11Monitor> listMonitors(X11Connection& x) {
    const auto monitors = x.reply(xcb_randr_get_monitors_reply, xcb_randr_get_monitors(x, x.root(), 1));
    std::vector<X11Monitor> list;
    if (!monitors)
        return list;
    for (auto m = xcb_randr_get_monitors_monitors_iterator(monitors.get()); m.rem > 0;
         xcb_randr_monitor_info_next(&m))
        list.push_back({m.data->name, {m.data->x, m.data->y, m.data->width, m.data->height}});
    return list;
}

std::vector<ShareableWindow> listWindows(X11Connection& x) {
    std::vector<xcb_window_t> windows = managedWindows(x);
    if (windows.empty())
        windows = rootsChildren(x);

    const xcb_atom_t netName = x.atom("_NET_WM_NAME");
    struct Asked {
        xcb_get_window_attributes_cookie_t attributes;
        xcb_get_property_cookie_t netName, name;
    };
    std::vector<Asked> asked; // all requests first, for a single round trip
    for (const xcb_window_t window : windows)
        asked.push_back({xcb_get_window_attributes(x, window),
            xcb_get_property(x, 0, window, netName, XCB_GET_PROPERTY_TYPE_ANY, 0, 256),
            xcb_get_property(x, 0, window, XCB_ATOM_WM_NAME, XCB_GET_PROPERTY_TYPE_ANY, 0, 256)});

    std::vector<ShareableWindow> list;
    for (std::size_t i = 0; i < windows.size(); ++i) {
        const auto attributes = x.reply(xcb_get_window_attributes_reply, asked[i].attributes);
        const QString title = textOf(x.reply(xcb_get_property_reply, asked[i].netName), true);
        const QString oldTitle = textOf(x.reply(xcb_get_property_reply, asked[i].name), false);
        if (attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE && !attributes->override_redirect &&
            attributes->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT)
            list.push_back({windows[i], title.isEmpty() ? oldTitle : title});
    }
    return list;
}

} // namespace tavro
