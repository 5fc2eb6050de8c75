#include "Core/DesktopSession.h"

#include <QByteArray>

namespace tavro {

bool isWaylandSession() {
    const QByteArray type = qgetenv("XDG_SESSION_TYPE");
    if (type == "wayland" || type == "x11")
        return type == "wayland";
    return !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

} // namespace tavro
