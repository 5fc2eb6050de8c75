#include "CastCapture.h"

#include "Platform/Screen/CanvasPicture.h"

#include <algorithm>
#include <cstring>
#include <poll.h>

namespace tavro::test {

using namespace std::chrono_literals;

CastCapture::CastCapture(CastSource& sender, int width, int height, bool pointerInMetadata)
    : source(openPipeWireRemote(), sender.node(), {.width = width, .height = height},
          std::make_shared<CanvasPool>(width, height, 4, [] {}),
          {.pointerInMetadata = pointerInMetadata, .stopped = [this] { ++timesStopped; }})
    , cast(&sender) {}

CastCapture::CastCapture(FileDescriptor remote, std::uint32_t node)
    : source(std::move(remote), node, {.width = 320, .height = 180},
          std::make_shared<CanvasPool>(320, 180, 4, [] {}), {})
    , cast(nullptr) {}

void CastCapture::begin(const std::optional<CastFrame>& frame) {
    first = frame;
    source.begin(*this);
    first.reset();
}

void CastCapture::sendAgain(const CastFrame& frame) {
    if (Clock::now() - sent >= 200ms && cast->send(frame))
        sent = Clock::now();
}

bool CastCapture::forNews(Clock::time_point limit) {
    if (first)
        sendAgain(*first);
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(limit - Clock::now());
    pollfd news{source.descriptor(), POLLIN, 0};
    ::poll(&news, source.isLost() ? 0 : 1, static_cast<int>(std::clamp(left, 1ms, 20ms).count()));
    return !isGivenUp;
}

bool CastCapture::waitUntil(const std::function<bool()>& condition) {
    for (const auto limit = Clock::now() + 30s; Clock::now() < limit; forNews(limit)) {
        source.takeNews();
        if (condition())
            return true;
    }
    return false;
}

bool CastCapture::show(const CastFrame& frame, const CastPicture& expected) {
    sent = {};
    return waitUntil([&] {
        sendAgain(frame);
        return source.grab() && shows(*source.picture(), expected);
    });
}

CastPicture patternOf(int width, int height) {
    CastPicture picture(width, height, 0);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            picture.at(x, y) =
                0xff000000u | (std::uint32_t(x) * 2654435761u + std::uint32_t(y) * 40503u) % 0xffffffu;
    return picture;
}

CastPicture partOf(const CastPicture& picture, const Rect& part) {
    CastPicture result(part.width, part.height, 0);
    for (int y = 0; y < part.height; ++y)
        for (int x = 0; x < part.width; ++x)
            result.at(x, y) = picture.at(part.x + x, part.y + y);
    return result;
}

CastPicture withPointer(CastPicture picture, const CastPicture& pointer, int left, int top) {
    for (int y = std::max(0, -top); y < std::min(pointer.height, picture.height - top); ++y)
        for (int x = std::max(0, -left); x < std::min(pointer.width, picture.width - left); ++x) {
            std::uint32_t& pixel = picture.at(left + x, top + y);
            const std::uint32_t over = pointer.at(x, y), keep = 255 - (over >> 24);
            std::uint32_t result = 0;
            for (int shift = 0; shift < 24; shift += 8)
                result |= (((pixel >> shift & 255) * keep + 127) / 255 + (over >> shift & 255)) << shift;
            pixel = result;
        }
    return picture;
}

bool shows(const Canvas& canvas, const CastPicture& picture) {
    std::vector<std::uint32_t> pixels = picture.pixels;
    const Rect whole{0, 0, picture.width, picture.height};
    CanvasPicture drawn(
        canvas.width, canvas.height, std::make_shared<CanvasPool>(canvas.width, canvas.height, 1, [] {}));
    drawn.setSource(whole.width, whole.height);
    const CanvasPicture::Patch all{canvas.bounds(),
        {reinterpret_cast<std::uint8_t*>(pixels.data()), std::ptrdiff_t{whole.width} * 4, whole}};
    drawn.draw(drawn.areasOf({}), {&all, 1});
    for (int plane = 0; plane < 3; ++plane) {
        const int half = plane > 0 ? 2 : 1;
        for (int row = 0; row < canvas.height / half; ++row) {
            const std::ptrdiff_t at = std::ptrdiff_t{canvas.strides[plane]} * row;
            if (std::memcmp(canvas.planes[plane] + at, drawn.canvas()->planes[plane] + at,
                    static_cast<std::size_t>(canvas.width / half)) != 0)
                return false;
        }
    }
    return true;
}

} // namespace tavro::test
