#pragma once

#include <QByteArray>

#include <chrono>

namespace tavro {

/// False when a server on this machine takes connections but does not react within `limit`. True otherwise,
/// also without a server and for one that is reached over a network: connecting to it tells more. xcb_connect
/// itself waits without a limit. Any thread.
bool reactsWithin(std::chrono::milliseconds limit, const QByteArray& display);

/// Whether a program can have windows on `display`: as in $DISPLAY, the default when empty. Waits for `limit`
/// at most, apart from a server that stops in the moment after it was seen to react. Any thread.
bool acceptsClients(std::chrono::milliseconds limit, const QByteArray& display = {});

} // namespace tavro
