#include "Platform/Desktop/XEmbedTray.h"

#include "Platform/Xcb/GuiConnection.h"

#include <span>

namespace tavro {
namespace {

constexpr std::size_t colorComponents = 3; // the ordinary symbol's red, green and blue come first
constexpr std::uint32_t brightest = 0xffff;

} // namespace

XEmbedTray::XEmbedTray(std::function<void()> handler)
    : appeared(std::move(handler))
    , connection(gui::connection()) {
    if (!connection)
        return;
    selection = gui::atom(connection, "_NET_SYSTEM_TRAY_S0");
    manager = gui::atom(connection, "MANAGER");
    colors = gui::atom(connection, "_NET_SYSTEM_TRAY_COLORS");
    qGuiApp->installNativeEventFilter(this);
}

XEmbedTray::~XEmbedTray() = default; // the base class removes the event filter

bool XEmbedTray::isPresent() const {
    return owner() != XCB_WINDOW_NONE;
}

std::optional<bool> XEmbedTray::wantsLightSymbols() const {
    const auto window = owner();
    if (window == XCB_WINDOW_NONE)
        return std::nullopt;
    const auto cookie =
        xcb_get_property(connection, 0, window, colors, XCB_ATOM_CARDINAL, 0, colorComponents);
    const XcbHandle<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection, cookie, nullptr));
    if (!reply || reply->format != 32 || reply->value_len < colorComponents)
        return std::nullopt;
    const std::span rgb(
        static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get())), colorComponents);
    const auto luminance = 0.299 * rgb[0] + 0.587 * rgb[1] + 0.114 * rgb[2];
    return luminance > brightest / 2.0;
}

bool XEmbedTray::nativeEventFilter(const QByteArray& type, void* message, qintptr*) {
    if (type != "xcb_generic_event_t")
        return false;
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if ((event->response_type & 0x7f) != XCB_CLIENT_MESSAGE)
        return false;
    const auto* client = reinterpret_cast<const xcb_client_message_event_t*>(event);
    if (client->type == manager && client->data.data32[1] == selection)
        appeared();
    return false;
}

std::uint32_t XEmbedTray::owner() const {
    return connection ? gui::selectionOwner(connection, selection) : xcb_window_t{XCB_WINDOW_NONE};
}

} // namespace tavro
