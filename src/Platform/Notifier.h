#pragma once

#include <QString>

#include <functional>
#include <vector>

namespace tavro {

/// Shows notifications outside the program's own windows. Main thread.
class Notifier {
public:
    struct Action {
        QString label;
        std::function<void()> run; ///< called on the main thread while the notifier exists
    };
    /// At most one of its actions runs, once.
    struct Notification {
        QString summary;
        QString body;                     ///< plain text
        std::vector<Action> actions = {}; ///< buttons; a click on the notification itself runs the first
        bool failure = false;
    };

    virtual ~Notifier() = default;
    /// Returns at once. Without a notification service, writes a log line instead.
    virtual void show(Notification notification) = 0;
};

} // namespace tavro
