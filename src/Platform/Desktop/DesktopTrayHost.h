#pragma once

#include "Platform/TrayHost.h"

#include <memory>

namespace tavro {

/// Panels that show tray icons: a StatusNotifier host on the session bus or, on an X11 display that has none,
/// the owner of the system tray selection. Found out without waiting: a host that is there already "appears"
/// soon after construction. After the QGuiApplication.
class DesktopTrayHost final : public TrayHost {
public:
    DesktopTrayHost();
    ~DesktopTrayHost() override;
    bool prefersLightSymbols() const override;

private:
    class Watch;
    std::unique_ptr<Watch> watch;
};

} // namespace tavro
