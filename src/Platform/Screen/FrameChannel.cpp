#include "Platform/Screen/FrameChannel.h"

#include <algorithm>
#include <utility>

namespace tavro {

FrameChannel::FrameChannel(std::shared_ptr<EventLoop> loop, int mostUnderWay, std::function<void()> room)
    : main(std::move(loop))
    , depth(std::max(1, mostUnderWay))
    , onRoom(std::move(room)) {}

void FrameChannel::addHandler(Handler handler) {
    handlers.push_back(std::move(handler));
}

void FrameChannel::setFailureHandler(FailureHandler handler) {
    onFailure = std::move(handler);
}

void FrameChannel::close() {
    closed = true;
    // A handler keeps its receiver alive and may be the caller, so destroy handlers later.
    main->post([handlers = std::exchange(handlers, {})] {});
}

StreamStatistics FrameChannel::statistics() const {
    const std::lock_guard lock(mutex);
    return counts;
}

bool FrameChannel::hasRoom() const {
    const std::lock_guard lock(mutex);
    return underWay < depth;
}

void FrameChannel::send(VideoFramePtr frame) {
    {
        const std::lock_guard lock(mutex);
        ++underWay;
    }
    main->post([self = shared_from_this(), frame = std::move(frame)] { self->deliver(frame); });
}

void FrameChannel::post(std::function<void()> work) {
    main->post(std::move(work));
}

void FrameChannel::fail(std::exception_ptr reason) {
    main->post([self = shared_from_this(), reason = std::move(reason)] {
        if (!self->closed && self->onFailure)
            self->onFailure(reason);
    });
}

void FrameChannel::countDropped() {
    const std::lock_guard lock(mutex);
    ++counts.framesDropped;
}

void FrameChannel::deliver(const VideoFramePtr& frame) {
    bool wasFull = false;
    {
        const std::lock_guard lock(mutex);
        wasFull = underWay >= depth;
        --underWay;
        if (!closed)
            ++counts.framesDelivered;
    }
    for (std::size_t i = 0; i < handlers.size() && !closed; ++i) {
        const Handler handler = handlers[i]; // a copy: it may close the channel
        handler(frame);
    }
    if (wasFull)
        onRoom();
}

} // namespace tavro
