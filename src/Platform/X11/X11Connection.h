#pragma once

#include "Platform/Xcb/XcbHandles.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <xcb/xcb.h>

namespace tavro {

/// A connection to an X server with the extensions for captures. One thread at a time. A server that does not
/// answer is given up after `patience`. Exception: libxcb's own handshake waits without a limit for a server
/// that stops in the moment after it was seen to react.
class X11Connection {
public:
    static constexpr std::chrono::seconds patience{5};

    /// `display`: as in $DISPLAY, the default when empty. Throws PlatformError "Tavro.X11": 1 no connection,
    /// 2 missing extension, 3 unsupported pixel format, 8 no answer.
    explicit X11Connection(const QByteArray& display);
    ~X11Connection();
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    operator xcb_connection_t*() const { return connection.get(); }
    xcb_window_t root() const { return screen->root; }
    bool isBroken() const { return xcb_connection_has_error(connection.get()) != 0; }
    int descriptor() const { return xcb_get_file_descriptor(connection.get()); }
    xcb_atom_t atom(const char* name); ///< 0 when it does not exist

    std::uint8_t damageEvent = 0; ///< first event code of the extension
    std::uint8_t fixesEvent = 0;
    std::uint8_t randrEvent = 0;
    std::uint8_t inputOpcode = 0; ///< major opcode; 0 without XInput 2.1

    /// Called while a reply is missing. Returns when data may have come; false gives the reply up. Without
    /// it, each reply has `patience`, and none is waited for after one was given up.
    std::function<bool()> whileWaiting;

    /// Waits until the server has executed all earlier requests. False on a broken connection, or when given
    /// up.
    bool roundTrip();
    /// Throws PlatformError "Tavro.X11": 1 for a broken connection, 8 after a reply was given up.
    void requireAnswers() const;

    /// Waits for a reply, e.g. `reply(xcb_query_tree_reply, xcb_query_tree(c, w))`. Null on an error, a
    /// broken connection, or when `whileWaiting` gives up.
    template <class Reply, class Cookie>
    XcbHandle<Reply> reply(Reply* (*)(xcb_connection_t*, Cookie, xcb_generic_error_t**), Cookie cookie) {
        return XcbHandle<Reply>(static_cast<Reply*>(waitForReply(cookie.sequence)));
    }

private:
    struct Disconnect {
        void operator()(xcb_connection_t* c) const { xcb_disconnect(c); }
    };
    void* waitForReply(unsigned sequence);
    bool waitForData(std::chrono::steady_clock::time_point until) const;
    void requireExtensions();
    void requirePixelFormat() const;

    std::unique_ptr<xcb_connection_t, Disconnect> connection;
    const xcb_screen_t* screen = nullptr;
    bool gaveUp = false; // a reply
};

} // namespace tavro
