#pragma once

#include <functional>

namespace tavro {

/// The part of the desktop that shows tray icons. Main thread.
class TrayHost {
public:
    virtual ~TrayHost() = default;
    /// The panel is dark, so symbols on it should be light.
    virtual bool prefersLightSymbols() const = 0;
    std::function<void()> onAppeared;   ///< a host exists or has come back; never called by a constructor
    std::function<void()> onAppearance; ///< `prefersLightSymbols` changed
};

} // namespace tavro
