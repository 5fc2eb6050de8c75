#include "Platform/Screen/CaptureThread.h"

#include "Core/ErrorWords.h"
#include "Core/Log.h"
#include "Platform/Screen/Canvas.h"
#include "Platform/Screen/FramePacer.h"
#include "Platform/TakeFormat.h"

#include <algorithm>
#include <poll.h>
#include <pthread.h>

namespace tavro {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;

constexpr auto startPatience = 5s;        // with each answer at the start
constexpr auto lastAnswerWithin = 500ms;  // a source's time to answer after `stop()`
constexpr auto usualAnswerWithin = 500ms; // later the picture is repeated without an answer
constexpr std::size_t spareCanvases = 6;  // beyond those in transit, for readers and encoders

microseconds now() {
    return std::chrono::duration_cast<microseconds>(Clock::now().time_since_epoch());
}

class CanvasFrame final : public VideoFrame {
public:
    CanvasFrame(std::shared_ptr<const Canvas> picture, microseconds time, std::uint64_t number)
        : canvas(std::move(picture)) {
        presentationTime = time;
        sequence = number;
        width = canvas->width;
        height = canvas->height;
        std::copy(std::begin(canvas->planes), std::end(canvas->planes), std::begin(planes));
        std::copy(std::begin(canvas->strides), std::end(canvas->strides), std::begin(strides));
    }

private:
    const std::shared_ptr<const Canvas> canvas;
};

} // namespace

class CaptureThread::Loop final : public CaptureWait {
public:
    Loop(CaptureThread& thread, const MakeSource& makeSource, const StreamConfiguration& configuration)
        : owner(thread)
        , pool(std::make_shared<CanvasPool>(configuration.width, configuration.height,
              static_cast<std::size_t>(configuration.queueDepth) + spareCanvases,
              [waker = thread.waker] { waker->wake(); }))
        , pacer(configuration.minimumFrameInterval)
        , samePicture(configuration.minimumFrameInterval / 2)
        , source(makeSource(pool)) {}
    ~Loop() override {
        owner.remember(std::nullopt);
        pool->retire();
    }
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    /// Sends the first picture. Throws.
    void begin() {
        answerBefore = Clock::now() + startPatience;
        source->begin(*this);
        answerBefore.reset();
        send(now(), source->damage().rects());
    }

    void run() {
        while (!owner.order()) {
            takeNoteOfNews();
            if (isTimeToGrab() || isTimeToRepeat())
                takeFrame();
            else
                wait();
        }
        if (const auto time = owner.order()->lastFrameTime)
            finish(*time);
    }

    bool forNews(Clock::time_point limit) override {
        sleep(limit - Clock::now());
        return !owner.order();
    }

    // A source that hangs has a limited time for its answers at the start and after `stop()`. Between them it
    // has any: the last picture is repeated meanwhile, so that the file's time goes on.
    bool forAnswer() override {
        const auto order = owner.order();
        const auto limit = order ? order->answerBefore : answerBefore;
        if (limit && Clock::now() >= *limit)
            return false;
        const auto repeatTimeNow = [this] { return std::max(repeatTime(), grabBegan + usualAnswerWithin); };
        const bool canRepeat = !limit && canSend();
        if (canRepeat && Clock::now() >= repeatTimeNow())
            send(now(), {});
        const auto until = canRepeat ? repeatTimeNow() : limit;
        sleep(until ? std::optional(*until - Clock::now()) : std::nullopt);
        return true;
    }

private:
    void takeNoteOfNews() {
        const bool waiting = source->mayHaveChanged() && source->notBefore() <= Clock::now();
        const auto settling = source->settleTime();
        if (!source->takeNews())
            return;
        const auto time = Clock::now();
        if (waiting && grabTime() < time && time - lastNews > samePicture)
            owner.channel->countDropped();               // the next picture replaces the waiting one
        if (!waiting || source->settleTime() < settling) // what may wait long did so before
            firstNews = time;
        lastNews = time;
        if (pacer.next() > time || !canSend())
            source->listenOn();
    }

    Clock::time_point grabTime() const {
        return std::max({pacer.next(), firstNews + source->settleTime(), source->notBefore()});
    }
    bool canSend() { return owner.channel->hasRoom() && pool->canTake(); }
    bool canGrab() const { return !source->isLost() && source->mayHaveChanged(); }
    bool isTimeToGrab() { return canGrab() && grabTime() <= Clock::now() && canSend(); }
    Clock::time_point repeatTime() const { return lastSent + TakeFormat::stillFrameInterval; }
    bool isTimeToRepeat() { return Clock::now() >= repeatTime() && canSend(); }

    void takeFrame() {
        const bool repeat = isTimeToRepeat();
        if (repeat)
            source->suspectChange();
        microseconds time = now();
        const bool fresh = grab();
        if (time <= lastTime) // repeats were sent while the source hung
            time = now();
        if (fresh)
            send(shownTime().value_or(time), source->damage().rects());
        else if (isTimeToRepeat())
            send(time, {});
        source->giveBackMemory();
    }

    std::optional<microseconds> shownTime() const {
        const auto shown = source->shownAt();
        if (!shown)
            return std::nullopt;
        return std::chrono::duration_cast<microseconds>(shown->time_since_epoch());
    }

    bool grab() {
        grabBegan = Clock::now();
        try {
            const bool fresh = !source->isLost() && source->grab();
            lastFailure.clear();
            return fresh;
        } catch (const PlatformError& error) {
            if (std::exchange(lastFailure, error.message()) != error.message()) // it is tried each second
                Log::error(QStringLiteral("capture: ") + error.message() +
                           QStringLiteral("; the last picture stays"));
            return false;
        }
    }

    void send(microseconds time, std::vector<Rect> damage) {
        lastTime = std::max(time, lastTime + 1us);
        const std::uint64_t sequence = nextSequence++;
        owner.remember(
            Sent{pool, source->picture(), lastTime, sequence}); // nobody reads it before it is published
        auto frame = std::make_shared<CanvasFrame>(pool->publish(source->picture()), lastTime, sequence);
        frame->damage = std::move(damage);
        lastSent = Clock::now();
        pacer.taken(lastSent);
        owner.channel->send(std::move(frame));
    }

    void finish(microseconds time) {
        takeNoteOfNews();
        const bool fresh = pool->canTake() && grab();
        send(time, fresh ? source->damage().rects() : std::vector<Rect>());
    }

    void wait() {
        auto until = repeatTime();
        if (canGrab())
            until = std::min(until, grabTime());
        // Without room or a free canvas, the waker ends the wait.
        sleep(canSend() ? std::optional(until - Clock::now()) : std::nullopt);
    }

    void sleep(std::optional<Clock::duration> most) {
        source->flush();
        pollfd descriptors[] = {{owner.waker->descriptor(), POLLIN, 0}, {source->descriptor(), POLLIN, 0}};
        timespec time{};
        if (most) {
            const auto left = std::max<Clock::duration>(*most, 0ns);
            time.tv_sec = std::chrono::duration_cast<std::chrono::seconds>(left).count();
            time.tv_nsec = (left % 1s).count();
        }
        ::ppoll(descriptors, source->isLost() ? 1 : 2, most ? &time : nullptr, nullptr);
        if (descriptors[0].revents)
            owner.waker->clear();
    }

    CaptureThread& owner;
    const std::shared_ptr<CanvasPool> pool;
    FramePacer pacer;
    const microseconds samePicture; // damage within this time of the last belongs to the same picture
    std::optional<Clock::time_point> answerBefore; // of the source's answers, until the capture runs
    QString lastFailure;                           // of a grab, empty after a success
    Clock::time_point firstNews{};                 // time of the first change since the last picture
    Clock::time_point lastNews{};
    Clock::time_point lastSent{};
    Clock::time_point grabBegan{};
    microseconds lastTime{0};
    std::uint64_t nextSequence = 0;
    const std::unique_ptr<PictureSource> source; // last: its end may still wait
};

void CaptureThread::end(std::optional<microseconds> lastFrameTime, Clock::duration answerWithin) {
    {
        const std::lock_guard lock(mutex);
        given = Order{lastFrameTime, Clock::now() + answerWithin};
    }
    waker->wake();
}

std::optional<CaptureThread::Order> CaptureThread::order() const {
    const std::lock_guard lock(mutex);
    return given;
}

void CaptureThread::remember(std::optional<Sent> last) {
    const std::lock_guard lock(mutex);
    sent = std::move(last);
}

VideoFramePtr CaptureThread::latestFrame() const {
    const std::lock_guard lock(mutex);
    auto canvas = sent ? sent->pool->read(sent->canvas) : nullptr;
    return canvas ? std::make_shared<CanvasFrame>(std::move(canvas), sent->time, sent->sequence) : nullptr;
}

CaptureThread::CaptureThread(MakeSource makeSource, const StreamConfiguration& configuration,
    std::shared_ptr<FrameChannel> frames, std::shared_ptr<Waker> wake)
    : channel(std::move(frames))
    , waker(std::move(wake))
    , thread([this, makeSource = std::move(makeSource), configuration] { run(makeSource, configuration); }) {}

// In words for the user: an exception's own text, e.g. "std::bad_alloc", explains nothing.
void CaptureThread::fail() {
    const ErrorDescription why = describeCurrentError();
    Log::error(QStringLiteral("capture: ended by an error, no more pictures: ") + why.localizedDescription);
    if (!order()) // else only the last picture is missing
        channel->fail(std::make_exception_ptr(PlatformError(QStringLiteral("Tavro.Screen"), 7,
            QStringLiteral("The screen cannot be recorded any more. ") +
                inWords(why, Attempt::local).happened)));
}

CaptureThread::~CaptureThread() {
    end(std::nullopt, 0s);
    thread.join();
}

Promise<void> CaptureThread::stop() {
    end(now(), lastAnswerWithin);
    return stoppedPromise;
}

void CaptureThread::run(const MakeSource& makeSource, const StreamConfiguration& configuration) {
    pthread_setname_np(pthread_self(), "screen-capture");
    bool isRunning = false;
    try {
        Loop loop(*this, makeSource, configuration);
        loop.begin();
        channel->post([started = startedPromise] { started.resolve(); });
        isRunning = true;
        loop.run();
    } catch (...) {
        if (isRunning)
            fail();
        else
            startedPromise.reject(std::current_exception());
    }
    channel->post([stopped = stoppedPromise] { stopped.resolve(); });
}

} // namespace tavro
