#include "Platform/Desktop/XEmbedTray.h"

#include <QByteArray>
#include <QGuiApplication>
#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <span>

namespace tavro {
namespace {

struct Free {
    void operator()(void* reply) const { std::free(reply); }
};
template <class Reply>
using ReplyPtr = std::unique_ptr<Reply, Free>;

constexpr std::size_t colorComponents = 3; // red, green, blue of the ordinary symbol come first
constexpr std::uint32_t brightest = 0xffff;

} // namespace

XEmbedTray::XEmbedTray(std::function<void()> handler) : appeared(std::move(handler)) {
    if (const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>())
        connection = x11->connection();
    if (!connection)
        return;
    selection = atom("_NET_SYSTEM_TRAY_S0");
    manager = atom("MANAGER");
    colors = atom("_NET_SYSTEM_TRAY_COLORS");
    qGuiApp->installNativeEventFilter(this);
}

XEmbedTray::~XEmbedTray() = default; // the base takes the filter out

bool XEmbedTray::isPresent() const {
    return owner() != XCB_WINDOW_NONE;
}

std::optional<bool> XEmbedTray::wantsLightSymbols() const {
    const auto window = owner();
    if (window == XCB_WINDOW_NONE)
        return std::nullopt;
    const auto cookie =
        xcb_get_property(connection, 0, window, colors, XCB_ATOM_CARDINAL, 0, colorComponents);
    const ReplyPtr<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection, cookie, nullptr));
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
    if (!connection)
        return XCB_WINDOW_NONE;
    const auto cookie = xcb_get_selection_owner(connection, selection);
    const ReplyPtr<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(connection, cookie, nullptr));
    return reply ? reply->owner : 0;
}

std::uint32_t XEmbedTray::atom(const QByteArray& name) const {
    const auto cookie =
        xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.constData());
    const ReplyPtr<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection, cookie, nullptr));
    return reply ? reply->atom : 0;
}

} // namespace tavro
