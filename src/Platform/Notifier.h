#pragma once

#include <QString>

#include <functional>
#include <optional>

namespace tavro {

/// Shows notifications outside the program's own windows. Main thread.
class Notifier {
public:
    struct Action {
        QString label;
        std::function<void()> run; ///< called on the main thread, at most once, while the notifier exists
    };
    struct Notification {
        QString summary;
        QString body;                                ///< plain text
        std::optional<Action> action = std::nullopt; ///< on a click on the notification or its button
        bool failure = false;
    };

    virtual ~Notifier() = default;
    /// Returns at once. Without a notification service, writes a log line instead.
    virtual void show(Notification notification) = 0;
};

} // namespace tavro
