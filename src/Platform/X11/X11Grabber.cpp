#include "Platform/X11/X11Grabber.h"

#include "Core/Log.h"

#include <algorithm>
#include <utility>
#include <xcb/shm.h>

namespace tavro {
namespace {

constexpr int bytesPerPixel = 4;
constexpr std::size_t largeGrab = 1 << 20; // bytes
constexpr std::chrono::seconds memoryHeldFor{1};

Rect wholeOf(const TargetPlace& place) {
    return {0, 0, place.area.width, place.area.height};
}

} // namespace

X11Grabber::X11Grabber(X11Connection& x, const ContentFilter& filter,
    const StreamConfiguration& configuration, std::shared_ptr<CanvasPool> canvases)
    : connection(x)
    , target(X11Target::make(x, filter))
    , cursor(x)
    , frameInterval(configuration.minimumFrameInterval)
    , width(configuration.width)
    , height(configuration.height)
    , pool(std::move(canvases)) {}

bool X11Grabber::handle(const xcb_generic_event_t& event) {
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

void X11Grabber::suspectChange() {
    cursor.suspectMotion();
    mustLocate = mustLocate || failed || !place; // no event need follow a failure
    failed = false;
}

bool X11Grabber::mayHaveChanged() const {
    return mustLocate || (place && !failed && (!pending.isEmpty() || cursor.mayHaveChanged()));
}

std::chrono::steady_clock::time_point X11Grabber::notBefore() const {
    const bool isPointerAlone = !mustLocate && pending.isEmpty();
    return isPointerAlone ? nextLook : std::chrono::steady_clock::time_point{};
}

bool X11Grabber::grab() {
    if (mustLocate)
        locate();
    if (!place)
        return false;
    lookAtCursor();
    if (pending.isEmpty())
        return false;
    damaged = damagedCanvas();
    const std::vector<Piece> pieces = piecesFor(damaged);
    target->clearDamage();
    if (!fetch(pieces)) {
        failed = true; // the target has changed or is gone; later events show which
        return false;
    }
    failed = false;
    draw(pieces);
    pending.clear();
    return true;
}

void X11Grabber::giveBackMemory() {
    pool->forgetUnused(memoryHeldFor);
    if (lastLarge && std::chrono::steady_clock::now() - *lastLarge >= memoryHeldFor) {
        lastLarge.reset();
        memory->forget();
    }
}

void X11Grabber::locate() {
    mustLocate = false;
    const auto next = target->locate();
    if (canvas && isAway == next.has_value()) {
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

void X11Grabber::moveTo(const TargetPlace& next) {
    const Rect whole = wholeOf(next);
    if (!memory || fit.source() != whole) {
        const std::size_t bytes = std::size_t(whole.width) * whole.height * bytesPerPixel;
        if (!memory || memory->size() < bytes) {
            lastLarge.reset();
            memory.reset();
            memory = std::make_unique<ShmImage>(connection, bytes);
        }
        if (canvas)
            Log::info(QStringLiteral("capture: %1 is now %2×%3")
                          .arg(target->name())
                          .arg(whole.width)
                          .arg(whole.height));
        fit = PictureFit(whole.width, whole.height, width, height);
        fitChanged = true;
    }
    pending = PictureRegion(whole);
    place = next;
    cursor.suspectMotion();
}

void X11Grabber::lookAtCursor() {
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

PictureRegion X11Grabber::damagedCanvas() const {
    if (fitChanged)
        return PictureRegion({0, 0, width, height});
    PictureRegion region;
    for (const Rect& rect : pending.rects())
        region.add(fit.toCanvas(rect));
    return region;
}

// The source of the damaged rectangles, packed one after the other.
std::vector<X11Grabber::Piece> X11Grabber::piecesFor(const PictureRegion& region) const {
    std::vector<Piece> pieces;
    std::size_t used = 0;
    for (const Rect& rect : region.rects()) {
        const Rect area = fit.toSource(intersected(rect, fit.picture()));
        pieces.push_back({area, used, area.width * bytesPerPixel});
        used += std::size_t(areaOf(area)) * bytesPerPixel;
    }
    if (used <= memory->size())
        return pieces;
    const Rect all =
        fit.toSource(intersected(region.bounds(), fit.picture())); // the rectangles overlap and do not fit
    return {{all, 0, all.width * bytesPerPixel}};
}

bool X11Grabber::fetch(const std::vector<Piece>& pieces) {
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

void X11Grabber::draw(const std::vector<Piece>& pieces) {
    std::vector<PixelView> views;
    for (const Piece& piece : pieces) {
        views.push_back({memory->data() + piece.offset, piece.stride, piece.area});
        cursor.drawInto(views.back());
    }
    shownCursor = cursor.area();

    const auto next = pool->take(canvas, damaged);
    if (std::exchange(fitChanged, false))
        next->fillBlack();
    for (const Rect& rect : damaged.rects()) {
        const Rect onPicture = intersected(rect, fit.picture());
        const auto view = std::find_if(views.begin(), views.end(),
            [needed = fit.toSource(onPicture)](const PixelView& v) { return contains(v.area, needed); });
        fit.draw(*view, *next, onPicture);
    }
    canvas = next;
}

} // namespace tavro
