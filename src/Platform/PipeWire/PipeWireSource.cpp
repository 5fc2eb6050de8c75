#include "Platform/PipeWire/PipeWireSource.h"

#include "Core/Errors.h"
#include "Core/Log.h"
#include "Platform/PipeWire/PipeWireBuffer.h"
#include "Platform/PipeWire/PipeWireCursor.h"
#include "Platform/PipeWire/PipeWireStream.h"
#include "Platform/Screen/CanvasPicture.h"
#include "Platform/Screen/PictureDifferences.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace tavro {
namespace {

using namespace std::chrono_literals;
using Clock = PictureSource::Clock;

constexpr auto answerWithin = 10s; // from the connection to the first buffers
constexpr auto firstPictureWithin =
    1500ms;                            // while buffers come; some desktops begin with a second of empty ones
constexpr auto pauseUntilStopped = 2s; // shorter ones are changes of the screen's mode
constexpr auto memoryHeldFor = 1s;
constexpr auto oldestStamp = 1s; // no desktop takes longer to pass a picture on

PlatformError failure(int code, const QString& why) {
    return PlatformError(QStringLiteral("Tavro.PipeWire"), code, why);
}

// The part `to.area` of a picture, in the order blue, green, red.
void copyPixels(const PipeWirePicture& picture, const PixelView& to) {
    const std::size_t line = static_cast<std::size_t>(to.area.width) * 4;
    for (int y = to.area.y; y < bottomOf(to.area); ++y) {
        const std::uint8_t* source = picture.view.at(to.area.x, y);
        std::uint8_t* target = to.at(to.area.x, y);
        std::copy(source, source + line, target);
        if (picture.isRgb)
            for (std::size_t i = 0; i < line; i += 4)
                std::swap(target[i], target[i + 2]);
    }
}

} // namespace

class PipeWireSource::Impl {
public:
    Impl(FileDescriptor remote, std::uint32_t sender, const StreamConfiguration& configuration,
        std::shared_ptr<CanvasPool> pool, Options given)
        : node(sender)
        , options(std::move(given))
        , stream(std::move(remote))
        , canvas(configuration.width, configuration.height, std::move(pool)) {}

    void begin(CaptureWait& wait);
    int descriptor() const { return stream.descriptor(); }
    bool isLost() const { return lost; }
    void iterate() { stream.iterate(); }
    bool takeBuffers();
    void noteState();
    bool mayHaveChanged() const { return picture && (mustDrawAll || cursorChanged || !pending.isEmpty()); }
    bool grab();
    std::optional<Clock::time_point> shownAt() const;
    const CanvasPicture& drawn() const { return canvas; }
    void giveBackMemory();

private:
    bool take(pw_buffer& buffer);
    void noteChanges(const spa_buffer& buffer, const PipeWirePicture& next);
    void locate();
    Rect cursorArea() const;
    void draw(const PictureRegion& areas);
    void copyInto(std::vector<CanvasPicture::Patch>& patches, const std::vector<Rect>& areas);
    void stop(const QString& why);

    const std::uint32_t node;
    Options options;
    PipeWireStream stream;
    CanvasPicture canvas;

    std::optional<PipeWirePicture> picture; // in the buffer that the stream holds
    std::optional<Clock::time_point> stamp; // of the latest change
    PictureRegion pending;                  // of the picture, not drawn yet
    bool mustDrawAll = false;
    bool missedSome = false;         // of what was sent after the picture
    bool isDamageIncomplete = false; // the sender leaves something out
    bool wasTooSmall = false;
    PipeWireCursor cursor;
    bool cursorChanged = false;
    Rect shownCursor; // in the picture

    std::vector<std::uint8_t> copies; // of parts of the picture
    Clock::time_point copied{};

    std::optional<Clock::time_point> pausedSince;
    bool isAway = false; // paused for long
    bool lost = false;
};

void PipeWireSource::Impl::begin(CaptureWait& wait) {
    stream.connect(node, options.pointerInMetadata);
    auto limit = Clock::now() + answerWithin;
    for (bool isStreaming = false; iterate(), takeBuffers(), !picture;) {
        const auto state = stream.state();
        if (state == PipeWireStream::State::failed)
            throw failure(
                2, QStringLiteral("The desktop does not share its screen (%1)").arg(stream.failure()));
        if (state == PipeWireStream::State::streaming && !std::exchange(isStreaming, true))
            limit = std::min(limit, Clock::now() + firstPictureWithin);
        if (Clock::now() >= limit)
            break;
        if (!wait.forNews(limit))
            throw failure(4, QStringLiteral("The wait for the desktop's first picture was given up"));
    }
    if (!picture && !stream.format())
        throw failure(3, QStringLiteral("The desktop has sent no picture of its screen"));
    if (!grab())
        canvas.draw(canvas.areasOf({}), {}); // black
}

/// True when there is something new to draw.
bool PipeWireSource::Impl::takeBuffers() {
    if (picture && !stream.held()) { // the sender has taken all buffers back, e.g. for another size
        picture.reset();
        pending.clear();
    }
    bool news = false;
    int taken = 0;
    for (; pw_buffer* buffer = stream.next(); ++taken)
        news = take(*buffer) || news;
    // Some senders drop a picture, with its damage, when they have no buffer left.
    if (taken > 2 && taken + 2 >= stream.bufferCount())
        missedSome = true;
    return news;
}

bool PipeWireSource::Impl::take(pw_buffer& buffer) {
    const bool moved = options.pointerInMetadata && cursor.update(*buffer.buffer);
    cursorChanged = cursorChanged || moved;
    stamp = stampOf(*buffer.buffer);
    std::optional<PipeWirePicture> next;
    if (stream.format() && hasPicture(*buffer.buffer)) {
        next = pictureIn(*buffer.buffer, *stream.format());
        if (!next && !std::exchange(wasTooSmall, true))
            Log::error(QStringLiteral("capture: the desktop sends pictures that are smaller than it says"));
    }
    if (!next) {
        stream.giveBack(buffer);
        return moved && picture;
    }
    const std::int64_t before = pending.area();
    noteChanges(*buffer.buffer, *next);
    stream.hold(buffer);
    picture = next;
    return moved || mustDrawAll || pending.area() != before;
}

// Senders tell no damage, all of the picture, or what has really changed. In the first two cases the buffer
// held so far is compared with its successor. One that says that nothing has changed may have moved the
// pointer in the picture; if so, its damage is not believed any more.
void PipeWireSource::Impl::noteChanges(const spa_buffer& buffer, const PipeWirePicture& next) {
    const Rect& whole = next.view.area;
    if (!picture || picture->crop != next.crop || std::exchange(missedSome, false))
        mustDrawAll = true;
    if (mustDrawAll || pending.covers(whole))
        return;
    const auto damage = damageIn(buffer, next);
    const bool isTold = damage && !damage->covers(whole) && !isDamageIncomplete;
    if (isTold && (!damage->isEmpty() || options.pointerInMetadata)) {
        pending.add(*damage);
        return;
    }
    const PictureRegion found = differences(picture->view, next.view);
    pending.add(found);
    if (isTold && !found.isEmpty())
        isDamageIncomplete = mustDrawAll = true;
}

bool PipeWireSource::Impl::grab() {
    if (!picture)
        return false;
    locate();
    const Rect whole = picture->view.area;
    if (std::exchange(mustDrawAll, false))
        pending = PictureRegion(whole);
    if (std::exchange(cursorChanged, false))
        for (const Rect& area : {shownCursor, cursorArea()})
            pending.add(intersected(area, whole));
    shownCursor = cursorArea();
    const PictureRegion changed = std::exchange(pending, {});
    if (changed.isEmpty())
        return false;
    draw(canvas.areasOf(changed));
    return true;
}

std::optional<Clock::time_point> PipeWireSource::Impl::shownAt() const {
    const auto now = Clock::now();
    if (!options.tellsTimes || !stamp || *stamp > now || *stamp < now - oldestStamp)
        return std::nullopt;
    return stamp;
}

void PipeWireSource::Impl::locate() {
    const Rect size = picture->view.area;
    if (canvas.source() == size)
        return;
    if (!canvas.source().isEmpty())
        Log::info(QStringLiteral("capture: the shared screen is now %1×%2").arg(size.width).arg(size.height));
    canvas.setSource(size.width, size.height);
}

Rect PipeWireSource::Impl::cursorArea() const {
    Rect area = cursor.area();
    area.x -= picture->crop.x;
    area.y -= picture->crop.y;
    return area;
}

// The sender's memory is drawn from directly where its picture needs no change.
void PipeWireSource::Impl::draw(const PictureRegion& areas) {
    const Rect underCursor = intersected(shownCursor, picture->view.area);
    const Rect covered = underCursor.isEmpty() ? Rect{} : canvas.areaOf(underCursor);
    std::vector<CanvasPicture::Patch> patches;
    std::vector<Rect> changed;
    for (const Rect& area : areas.rects())
        if (picture->isRgb) {
            changed.push_back(area);
        } else {
            patches.push_back({area, picture->view});
            changed.push_back(intersected(area, covered));
        }
    copyInto(patches, changed);
    canvas.draw(areas, patches);
}

// Adds patches for these areas, of pixels in our own memory: in the right order and with the pointer.
void PipeWireSource::Impl::copyInto(
    std::vector<CanvasPicture::Patch>& patches, const std::vector<Rect>& areas) {
    std::size_t bytes = 0;
    std::vector<CanvasPicture::Patch> own;
    for (const Rect& area : areas)
        if (const Rect needed = area.isEmpty() ? Rect{} : canvas.neededFor(area); !needed.isEmpty()) {
            own.push_back({area, {nullptr, std::ptrdiff_t{needed.width} * 4, needed}});
            bytes += static_cast<std::size_t>(areaOf(needed)) * 4;
        }
    if (own.empty())
        return;
    copied = Clock::now();
    if (copies.size() < bytes)
        copies.resize(bytes);
    std::uint8_t* memory = copies.data();
    for (CanvasPicture::Patch& patch : own) {
        patch.view.pixels = memory;
        memory += areaOf(patch.view.area) * 4;
        copyPixels(*picture, patch.view);
        blendCursor(patch.view, cursor.image(), shownCursor.x, shownCursor.y);
        patches.push_back(patch);
    }
}

void PipeWireSource::Impl::giveBackMemory() {
    canvas.forgetUnused();
    if (!copies.empty() && Clock::now() - copied >= memoryHeldFor)
        copies = {};
}

void PipeWireSource::Impl::noteState() {
    const auto state = stream.state();
    if (state == PipeWireStream::State::streaming) {
        if (std::exchange(pausedSince, std::nullopt))
            missedSome = true;
        if (std::exchange(isAway, false))
            Log::info(QStringLiteral("capture: the desktop shares its screen again"));
        return;
    }
    if (state == PipeWireStream::State::failed) {
        if (!std::exchange(lost, true))
            stop(stream.failure());
        return;
    }
    if (!pausedSince)
        pausedSince = Clock::now();
    if (Clock::now() - *pausedSince >= pauseUntilStopped && !std::exchange(isAway, true))
        stop(QStringLiteral("paused"));
}

void PipeWireSource::Impl::stop(const QString& why) {
    Log::error(
        QStringLiteral("capture: the desktop does not share its screen any more (%1); the last picture stays")
            .arg(why));
    if (const auto tell = std::exchange(options.stopped, nullptr))
        tell();
}

PipeWireSource::PipeWireSource(FileDescriptor remote, std::uint32_t node,
    const StreamConfiguration& configuration, std::shared_ptr<CanvasPool> pool, Options options)
    : impl(std::make_unique<Impl>(
          std::move(remote), node, configuration, std::move(pool), std::move(options))) {}

PipeWireSource::~PipeWireSource() = default;

void PipeWireSource::begin(CaptureWait& wait) {
    impl->begin(wait);
}

int PipeWireSource::descriptor() const {
    return impl->descriptor();
}

bool PipeWireSource::isLost() const {
    return impl->isLost();
}

bool PipeWireSource::takeNews() {
    impl->iterate();
    impl->noteState();
    return impl->takeBuffers();
}

void PipeWireSource::suspectChange() {
    impl->noteState();
}

bool PipeWireSource::mayHaveChanged() const {
    return impl->mayHaveChanged();
}

bool PipeWireSource::grab() {
    return impl->grab();
}

std::optional<PipeWireSource::Clock::time_point> PipeWireSource::shownAt() const {
    return impl->shownAt();
}

const std::shared_ptr<Canvas>& PipeWireSource::picture() const {
    return impl->drawn().canvas();
}

const PictureRegion& PipeWireSource::damage() const {
    return impl->drawn().damage();
}

void PipeWireSource::giveBackMemory() {
    impl->giveBackMemory();
}

} // namespace tavro
