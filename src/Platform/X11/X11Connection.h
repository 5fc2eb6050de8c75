#pragma once

#include "Platform/Xcb/XcbHandles.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <xcb/xcb.h>

namespace tavro {

/// A connection to an X server with the extensions that a capture needs. One thread at a time.
class X11Connection {
public:
    /// `display` as in $DISPLAY, which is used when it is empty. Throws PlatformError "Tavro.X11": 1 no
    /// connection, 2 an extension is missing, 3 a screen of an unsupported pixel format.
    explicit X11Connection(const QByteArray& display);
    ~X11Connection();
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    operator xcb_connection_t*() const { return connection.get(); }
    xcb_window_t root() const { return screen->root; }
    bool isBroken() const { return xcb_connection_has_error(connection.get()) != 0; }
    int descriptor() const { return xcb_get_file_descriptor(connection.get()); }
    xcb_atom_t atom(const char* name); ///< 0 when no client has made it

    std::uint8_t damageEvent = 0; ///< first event codes, the major code of XInput
    std::uint8_t fixesEvent = 0;
    std::uint8_t randrEvent = 0;
    std::uint8_t inputOpcode = 0; ///< 0 without XInput 2.1

    /// Called whenever a reply has not come yet: returns when some of the connection's data has, or may have;
    /// false to give the reply up. At first it just waits for data.
    std::function<bool()> whileWaiting;

    /// The reply to a request of XCB's `_reply` function's type; null when the server answered with an error,
    /// the connection broke, or it was given up. Example: `reply(xcb_query_tree_reply, xcb_query_tree(c,
    /// w))`.
    template <class Reply, class Cookie>
    XcbHandle<Reply> reply(Reply* (*)(xcb_connection_t*, Cookie, xcb_generic_error_t**), Cookie cookie) {
        return XcbHandle<Reply>(static_cast<Reply*>(waitForReply(cookie.sequence)));
    }

private:
    struct Disconnect {
        void operator()(xcb_connection_t* c) const { xcb_disconnect(c); }
    };
    void* waitForReply(unsigned sequence);
    void requireExtensions();
    void requirePixelFormat() const;

    std::unique_ptr<xcb_connection_t, Disconnect> connection;
    const xcb_screen_t* screen = nullptr;
};

} // namespace tavro
