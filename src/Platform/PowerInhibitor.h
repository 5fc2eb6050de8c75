#pragma once

#include <QString>

#include <memory>

namespace tavro {

/// Keeps the desktop awake: no blanking, no locking, no sleep. Main thread.
class PowerInhibitor {
public:
    /// The destructor ends the inhibition.
    class Inhibition {
    public:
        virtual ~Inhibition() = default;
    };

    virtual ~PowerInhibitor() = default;
    /// Returns at once. `reason` is shown to the user. The inhibition must not outlive the inhibitor.
    virtual std::unique_ptr<Inhibition> inhibit(const QString& reason) = 0;
};

} // namespace tavro
