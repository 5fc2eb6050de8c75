#pragma once

#include "Platform/Screen/CanvasPicture.h"
#include "Platform/Screen/PictureSource.h"
#include "Platform/X11/ShmImage.h"
#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11Cursor.h"
#include "Platform/X11/X11Target.h"

#include <QByteArray>

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

namespace tavro {

/// The picture of one display or window of an X server. A grab costs one round trip.
class X11Source final : public PictureSource {
public:
    /// Connects. Throws PlatformError "Tavro.X11".
    X11Source(const QByteArray& display, const ContentFilter& filter,
        const StreamConfiguration& configuration, std::shared_ptr<CanvasPool> pool);

    void begin(CaptureWait& wait) override;
    int descriptor() const override { return connection.descriptor(); }
    bool isLost() const override { return lost; }
    void flush() override { xcb_flush(connection); }
    bool takeNews() override;
    /// Resets reported damage, so that the server reports new drawing in the same place before the next grab.
    void listenOn() override { target->clearDamage(); }
    void suspectChange() override; ///< the next grab repeats what has failed
    bool mayHaveChanged() const override;
    Clock::time_point notBefore() const override; ///< limits the queries for a pointer that moves elsewhere
    Clock::duration settleTime() const override;  ///< longer while only the slow area has changed
    bool grab() override;
    const std::shared_ptr<Canvas>& picture() const override { return canvas.canvas(); }
    const PictureRegion& damage() const override { return canvas.damage(); }
    /// Also frees the shared memory when no large grab has needed it for a while.
    void giveBackMemory() override;

private:
    struct Piece {
        Rect area;
        std::size_t offset = 0;
        int stride = 0;
    };
    bool handle(const xcb_generic_event_t& event);
    void locate();
    void moveTo(const TargetPlace& next);
    bool isSlow() const;
    void lookAtCursor();
    std::vector<Piece> piecesFor(const PictureRegion& areas) const;
    bool fetch(const std::vector<Piece>& pieces);
    void draw(const PictureRegion& areas, const std::vector<Piece>& pieces);

    X11Connection connection;
    const std::unique_ptr<X11Target> target;
    X11Cursor cursor;
    const std::chrono::microseconds frameInterval;
    const std::shared_ptr<const SlowArea> slowArea;
    Clock::time_point nextLook{}; // at the pointer, when it alone may have changed
    bool lost = false;

    std::optional<TargetPlace> place; // empty while the target is away, or without memory for its size
    bool isAway = false;              // after the first picture
    bool mustLocate = true;
    bool failed = false; // the last read failed
    std::unique_ptr<ShmImage> memory;
    std::optional<Clock::time_point> lastLarge; // grab, until its memory is freed
    PictureRegion pending;                      // in the target
    Rect shownCursor;                           // in the target
    CanvasPicture canvas;
};

} // namespace tavro
