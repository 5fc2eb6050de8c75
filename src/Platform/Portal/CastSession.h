#pragma once

#include "Platform/Portal/PortalRequest.h"

#include <QDBusConnection>
#include <QDBusUnixFileDescriptor>
#include <QObject>
#include <QPoint>
#include <QSize>

#include <functional>
#include <optional>
#include <vector>

namespace tavro::portal {

/// A picture that the desktop shares.
struct CastStream {
    unsigned node = 0; ///< in PipeWire
    QString id;        ///< of the portal's own
    /// In the desktop's layout. Some portals always answer 0,0, and give no `id` then.
    std::optional<QPoint> position;
    std::optional<QSize> size; ///< in the layout, or in pixels, as the portal likes
    unsigned sourceType = 0;   ///< 1 a display, 2 a window; 0 unknown
};

struct Cast {
    std::vector<CastStream> streams;
    QString restoreToken; ///< for the next session; empty when the user wants to be asked again
};

/// A session of the ScreenCast portal: one conversation and what is shared by it. Main thread. Destroy it
/// only while no operation is under way: some portals crash when a session ends with its dialog open.
class CastSession final : public QObject {
    Q_OBJECT

public:
    /// `ended` is called at most once, when the desktop shares nothing any more after `open`.
    CastSession(QDBusConnection bus, std::function<void()> ended);
    ~CastSession() override; ///< ends the session
    CastSession(const CastSession&) = delete;
    CastSession& operator=(const CastSession&) = delete;

    /// Asks for one display. The user chooses it in the desktop's dialog, unless `restoreToken` still stands
    /// for an earlier choice. Throws as `request`.
    QCoro::Task<Cast> open(unsigned cursorMode, QString restoreToken);
    /// The connection to PipeWire that sees the shared stream.
    QCoro::Task<QDBusUnixFileDescriptor> pipeWireRemote();
    /// Reports an end that only the stream has seen.
    void tellOfEnd();

private slots:
    void closedByDesktop();

private:
    QDBusConnection bus;
    const std::function<void()> onEnd;
    QString handle; // empty before it exists and after its end
    bool isShared = false;
    bool toldOfEnd = false;
};

} // namespace tavro::portal
