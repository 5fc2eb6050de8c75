#include "Platform/X11/X11Source.h"

#include "Core/Errors.h"
#include "Core/Log.h"

#include <algorithm>
#include <utility>
#include <xcb/shm.h>

namespace tavro {
namespace {

constexpr int bytesPerPixel = 4;
constexpr std::size_t largeGrab = 1 << 20; // bytes
constexpr std::chrono::seconds memoryHeldFor{1};
// The server may serve others between the requests of one drawing. A grab waits this long for the rest.
constexpr std::chrono::milliseconds settleTimeOfDrawing{2};

Rect wholeOf(const TargetPlace& place) {
    return {0, 0, place.area.width, place.area.height};
}

} // namespace

X11Source::X11Source(const QByteArray& display, const ContentFilter& filter,
    const StreamConfiguration& configuration, std::shared_ptr<CanvasPool> pool)
    : connection(display)
    , target(X11Target::make(connection, filter))
    , cursor(connection)
    , frameInterval(configuration.minimumFrameInterval)
    , slowArea(configuration.slowArea)
    , canvas(configuration.width, configuration.height, std::move(pool)) {}

void X11Source::begin(CaptureWait& wait) {
    connection.whileWaiting = [&wait] { return wait.forAnswer(); };
    // Handle earlier events now: the first picture contains their changes.
    connection.roundTrip();
    takeNews();
    const bool fresh = grab();
    connection.requireAnswers();
    if (!fresh)
        throw PlatformError(
            QStringLiteral("Tavro.X11"), 5, QStringLiteral("The X server gives no picture of the target"));
}

bool X11Source::takeNews() {
    bool news = false;
    while (const XcbHandle<xcb_generic_event_t> event{xcb_poll_for_event(connection)})
        news = handle(*event) || news;
    if (connection.isBroken() && !std::exchange(lost, true))
        Log::error(QStringLiteral("capture: the connection to the X server is lost; the last picture stays"));
    return news;
}

bool X11Source::handle(const xcb_generic_event_t& event) {
    if (target->isMovedBy(event)) {
        mustLocate = true;
        return true;
    }
    if (cursor.handle(event))
        return true;
    const auto drawn = place ? target->damageIn(event, *place) : std::nullopt;
    if (drawn)
        pending.add(*drawn);
    return drawn.has_value();
}

void X11Source::suspectChange() {
    cursor.suspectMotion();
    mustLocate = mustLocate || failed || !place; // no event need follow a failure
    failed = false;
}

bool X11Source::mayHaveChanged() const {
    return mustLocate || (place && !failed && (!pending.isEmpty() || cursor.mayHaveChanged()));
}

X11Source::Clock::time_point X11Source::notBefore() const {
    const bool isPointerAlone = !mustLocate && pending.isEmpty();
    return isPointerAlone ? nextLook : Clock::time_point{};
}

X11Source::Clock::duration X11Source::settleTime() const {
    return isSlow() ? Clock::duration(SlowArea::interval) : settleTimeOfDrawing;
}

bool X11Source::isSlow() const {
    if (!slowArea || mustLocate || !place || place->drawable != connection.root() || pending.isEmpty() ||
        cursor.mayHaveChanged())
        return false;
    Rect slow = slowArea->get();
    slow.x -= place->area.x;
    slow.y -= place->area.y;
    return contains(slow, pending.bounds());
}

bool X11Source::grab() {
    if (mustLocate)
        locate();
    if (!place)
        return false;
    lookAtCursor();
    if (pending.isEmpty())
        return false;
    const PictureRegion areas = canvas.areasOf(pending);
    const std::vector<Piece> pieces = piecesFor(areas);
    target->clearDamage();
    if (!fetch(pieces)) {
        failed = true; // the target has changed or is gone; later events show which
        return false;
    }
    failed = false;
    draw(areas, pieces);
    pending.clear();
    return true;
}

void X11Source::giveBackMemory() {
    canvas.forgetUnused();
    if (lastLarge && Clock::now() - *lastLarge >= memoryHeldFor) {
        lastLarge.reset();
        memory->forget();
    }
}

void X11Source::locate() {
    mustLocate = false;
    const auto next = target->locate();
    if (picture() && isAway == next.has_value()) {
        isAway = !next;
        if (isAway)
            Log::error(QStringLiteral("capture: %1 is not there any more; its last picture stays")
                           .arg(target->name()));
        else
            Log::info(QStringLiteral("capture: %1 is there again").arg(target->name()));
    }
    if (next == place)
        return;
    place.reset();
    if (next)
        moveTo(*next);
}

void X11Source::moveTo(const TargetPlace& next) {
    const Rect whole = wholeOf(next);
    if (!memory || canvas.source() != whole) {
        const std::size_t bytes = std::size_t(whole.width) * whole.height * bytesPerPixel;
        if (!memory || memory->size() < bytes) {
            lastLarge.reset();
            memory.reset();
            memory = std::make_unique<ShmImage>(connection, bytes);
        }
        if (picture())
            Log::info(QStringLiteral("capture: %1 is now %2×%3")
                          .arg(target->name())
                          .arg(whole.width)
                          .arg(whole.height));
        canvas.setSource(whole.width, whole.height);
    }
    pending = PictureRegion(whole);
    place = next;
    cursor.suspectMotion();
}

void X11Source::lookAtCursor() {
    if (!cursor.mayHaveChanged())
        return;
    PictureRegion changed;
    if (cursor.update(*target, *place))
        for (const Rect& area : {shownCursor, cursor.area()})
            changed.add(intersected(area, wholeOf(*place)));
    pending.add(changed);
    // A mouse may report a thousand motions a second, also where nothing of them is shown.
    nextLook = {};
    if (changed.isEmpty())
        nextLook = std::chrono::steady_clock::now() + frameInterval;
}

// The source of the damaged rectangles, packed one after the other.
std::vector<X11Source::Piece> X11Source::piecesFor(const PictureRegion& areas) const {
    std::vector<Piece> pieces;
    std::size_t used = 0;
    for (const Rect& rect : areas.rects()) {
        const Rect area = canvas.neededFor(rect);
        pieces.push_back({area, used, area.width * bytesPerPixel});
        used += std::size_t(areaOf(area)) * bytesPerPixel;
    }
    if (used <= memory->size())
        return pieces;
    const Rect all = canvas.neededFor(areas.bounds()); // the rectangles overlap and do not fit
    return {{all, 0, all.width * bytesPerPixel}};
}

bool X11Source::fetch(const std::vector<Piece>& pieces) {
    std::vector<xcb_shm_get_image_cookie_t> asked; // all requests first, for a single round trip
    std::size_t bytes = 0;
    for (const Piece& piece : pieces) {
        bytes += std::size_t(areaOf(piece.area)) * bytesPerPixel;
        asked.push_back(xcb_shm_get_image(connection, place->drawable,
            static_cast<std::int16_t>(place->area.x + piece.area.x),
            static_cast<std::int16_t>(place->area.y + piece.area.y),
            static_cast<std::uint16_t>(piece.area.width), static_cast<std::uint16_t>(piece.area.height), ~0u,
            XCB_IMAGE_FORMAT_Z_PIXMAP, memory->segment(), static_cast<std::uint32_t>(piece.offset)));
    }
    if (bytes >= largeGrab)
        lastLarge = std::chrono::steady_clock::now();
    bool complete = true;
    for (const auto& cookie : asked)
        complete = connection.reply(xcb_shm_get_image_reply, cookie) && complete;
    return complete;
}

void X11Source::draw(const PictureRegion& areas, const std::vector<Piece>& pieces) {
    std::vector<PixelView> views;
    for (const Piece& piece : pieces) {
        views.push_back({memory->data() + piece.offset, piece.stride, piece.area});
        cursor.drawInto(views.back());
    }
    shownCursor = cursor.area();

    std::vector<CanvasPicture::Patch> patches;
    for (const Rect& area : areas.rects()) {
        const auto view = std::find_if(views.begin(), views.end(),
            [needed = canvas.neededFor(area)](const PixelView& v) { return contains(v.area, needed); });
        patches.push_back({area, *view});
    }
    canvas.draw(areas, patches);
}

} // namespace tavro
