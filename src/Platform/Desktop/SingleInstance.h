#pragma once

#include <QString>

#include <functional>
#include <memory>

namespace tavro {

/// The one running instance of a user's session, known on the session bus by the application's name and
/// reached there through org.freedesktop.Application. Main thread.
class SingleInstance {
public:
    struct Requests {
        std::function<void()> activate;                  ///< started again
        std::function<void(const QString& name)> action; ///< one of the desktop entry's actions, or "quit"
    };
    enum class Role {
        first,  ///< this is the instance now
        second, ///< another runs; it has been activated
        alone   ///< no session bus to tell
    };

    explicit SingleInstance(Requests requests);
    ~SingleInstance();

    Role claim();
    /// Gives the name up, so that another instance may take over while this one still runs.
    void release();

private:
    class Service;
    std::unique_ptr<Service> service;
};

} // namespace tavro
