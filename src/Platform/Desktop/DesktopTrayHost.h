#pragma once

#include "Platform/TrayHost.h"

#include <memory>

namespace tavro {

/// Tray of a StatusNotifier host on the session bus or else of the X11 system tray selection's owner. Never
/// blocks: an existing host "appears" soon after construction. Needs the QGuiApplication.
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
