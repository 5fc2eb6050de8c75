#pragma once

#include <QString>

#include <functional>
#include <memory>

namespace tavro {

/// The only instance in a user's session: the owner of the application's name on the session bus, called
/// through org.freedesktop.Application. Main thread.
class SingleInstance {
public:
    struct Requests {
        std::function<void()> activate;                  ///< another start was attempted
        std::function<void(const QString& name)> action; ///< one of the desktop entry's actions, or "quit"
    };
    enum class Role {
        first,  ///< this process is the instance
        second, ///< another instance runs and has been activated
        alone   ///< there is no session bus
    };

    explicit SingleInstance(Requests requests);
    ~SingleInstance();

    Role claim();
    /// Asks the instance that runs for an action, and starts none. False when it does not answer. Needs the
    /// application object.
    static bool ask(const QString& action);
    /// Releases the name, so that another instance can start while this one still runs.
    void release();

private:
    class Service;
    std::unique_ptr<Service> service;
};

} // namespace tavro
