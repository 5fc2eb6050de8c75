#pragma once

#include <QString>

#include <functional>
#include <optional>

namespace tavro {

/// Tells the user something outside the program's own windows. Main thread.
class Notifier {
public:
    struct Action {
        QString label;
        std::function<void()> run; ///< called on the main thread, at most once, while the notifier exists
    };
    struct Notification {
        QString summary;
        QString body;                                ///< plain text
        std::optional<Action> action = std::nullopt; ///< what a click on it, or on its button, does
        bool failure = false;
    };

    virtual ~Notifier() = default;
    /// Returns at once. Where the desktop shows no notifications, a log line takes its place.
    virtual void show(Notification notification) = 0;
};

} // namespace tavro
