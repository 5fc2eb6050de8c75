#pragma once

#include <QObject>
#include <qcoro/qcorotask.h>

#include <chrono>
#include <functional>

class QSessionManager;

namespace tavro {

/// Delays the end of the application until the guarded work is safe, on a quit by menu, signal or desktop
/// session. Main thread; needs the QGuiApplication.
class Termination final : public QObject {
public:
    struct Guard {
        std::function<bool()> mustWait;          ///< true while there is work to make safe
        std::function<QCoro::Task<>()> makeSafe; ///< called at most once; does not throw
        std::function<void()> giveUp;            ///< `longestWait` is over: `makeSafe` must end now
    };
    /// Limits the wait for a disk or a service that does not respond.
    static constexpr std::chrono::seconds longestWait{15};

    explicit Termination(Guard guard);
    ~Termination() override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void begin();
    QCoro::Task<> makeSafeAndQuit();
    void quit();
    void desktopSessionEnds(QSessionManager& manager);

    const Guard guard;
    bool begun = false;
    bool done = false;
};

} // namespace tavro
