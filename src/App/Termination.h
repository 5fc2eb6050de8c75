#pragma once

#include <QObject>
#include <qcoro/qcorotask.h>

#include <chrono>
#include <functional>

class QSessionManager;

namespace tavro {

/// Delays the end of the application, whoever asks for it (a menu, a signal, the end of the desktop session),
/// until what must not be lost is safe. Main thread; needs the QGuiApplication.
class Termination final : public QObject {
public:
    struct Guard {
        std::function<bool()> mustWait;          ///< whether there is anything to be made safe now
        std::function<QCoro::Task<>()> makeSafe; ///< called at most once; does not throw
        std::function<void()> giveUp;            ///< the longest wait is over: `makeSafe` has to end now
    };
    /// A disk or a service that does not answer must not keep the user from leaving.
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
