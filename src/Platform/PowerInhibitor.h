#pragma once

#include <QString>

#include <memory>

namespace tavro {

/// Keeps the desktop awake: no blanking, no locking, no sleep. Main thread.
class PowerInhibitor {
public:
    /// Lets the desktop go back to its habits when it is destroyed.
    class Inhibition {
    public:
        virtual ~Inhibition() = default;
    };

    virtual ~PowerInhibitor() = default;
    /// Returns at once; asks whatever the desktop has for this. `reason` is shown to the user. The inhibition
    /// must not outlive the inhibitor.
    virtual std::unique_ptr<Inhibition> inhibit(const QString& reason) = 0;
};

} // namespace tavro
