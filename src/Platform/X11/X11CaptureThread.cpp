#include "Platform/X11/X11CaptureThread.h"

#include "Core/Errors.h"
#include "Core/Log.h"
#include "Platform/Screen/Canvas.h"
#include "Platform/Screen/FramePacer.h"
#include "Platform/TakeFormat.h"
#include "Platform/X11/X11Grabber.h"

#include <algorithm>
#include <poll.h>
#include <pthread.h>

namespace tavro {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;

// The server may serve others between the requests of one drawing. A grab waits this long for the rest.
constexpr auto settleTime = 2ms;
constexpr auto lastAnswerWithin = 500ms;  // a server's time to answer after `stop()`
constexpr auto usualAnswerWithin = 500ms; // later the picture is repeated without an answer
constexpr std::size_t spareCanvases = 6;  // beyond those in transit, for readers and encoders

microseconds now() {
    return std::chrono::duration_cast<microseconds>(Clock::now().time_since_epoch());
}

class CanvasFrame final : public VideoFrame {
public:
    explicit CanvasFrame(std::shared_ptr<const Canvas> picture) : canvas(std::move(picture)) {
        width = canvas->width;
        height = canvas->height;
        std::copy(std::begin(canvas->planes), std::end(canvas->planes), std::begin(planes));
        std::copy(std::begin(canvas->strides), std::end(canvas->strides), std::begin(strides));
    }

private:
    const std::shared_ptr<const Canvas> canvas;
};

} // namespace

class X11CaptureThread::Loop {
public:
    Loop(X11CaptureThread& thread, const QByteArray& display, const ContentFilter& filter,
        const StreamConfiguration& configuration)
        : owner(thread)
        , connection(display)
        , pool(std::make_shared<CanvasPool>(configuration.width, configuration.height,
              static_cast<std::size_t>(configuration.queueDepth) + spareCanvases,
              [waker = thread.waker] { waker->wake(); }))
        , grabber(connection, filter, configuration, pool)
        , pacer(configuration.minimumFrameInterval)
        , samePicture(configuration.minimumFrameInterval / 2) {
        connection.whileWaiting = [this] { return waitForReply(); };
    }
    ~Loop() { pool->retire(); }
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    /// Sends the first picture. Throws.
    void begin() {
        // Handle earlier events now: the first picture contains their changes.
        connection.roundTrip();
        takeNoteOfEvents();
        const microseconds time = now();
        const bool fresh = grabber.grab();
        connection.requireAnswers();
        if (!fresh)
            throw PlatformError(QStringLiteral("Tavro.X11"), 5,
                QStringLiteral("The X server gives no picture of the target"));
        send(time, grabber.damage().rects());
    }

    void run() {
        answerBefore.reset();
        while (!owner.order()) {
            takeNoteOfEvents();
            if (isTimeToGrab() || isTimeToRepeat())
                takeFrame();
            else
                wait();
        }
        if (const auto time = owner.order()->lastFrameTime)
            finish(*time);
    }

private:
    void takeNoteOfEvents() {
        const bool waiting = grabber.mayHaveChanged() && grabber.notBefore() <= Clock::now();
        bool news = false;
        while (const XcbHandle<xcb_generic_event_t> event{xcb_poll_for_event(connection)})
            news = grabber.handle(*event) || news;
        if (news) {
            const auto time = Clock::now();
            if (waiting && grabTime() < time && time - lastNews > samePicture)
                owner.channel->countDropped(); // the next picture replaces the waiting one
            if (!waiting)
                firstNews = time;
            lastNews = time;
            if (pacer.next() > time || !canSend())
                grabber.listenOn();
        }
        if (connection.isBroken() && !std::exchange(isBroken, true))
            Log::error(
                QStringLiteral("capture: the connection to the X server is lost; the last picture stays"));
    }

    Clock::time_point grabTime() const {
        return std::max({pacer.next(), firstNews + settleTime, grabber.notBefore()});
    }
    bool canSend() { return owner.channel->hasRoom() && pool->canTake(); }
    bool isTimeToGrab() {
        return !isBroken && grabber.mayHaveChanged() && grabTime() <= Clock::now() && canSend();
    }
    Clock::time_point repeatTime() const { return lastSent + TakeFormat::stillFrameInterval; }
    bool isTimeToRepeat() { return Clock::now() >= repeatTime() && canSend(); }

    void takeFrame() {
        const bool repeat = isTimeToRepeat();
        if (repeat)
            grabber.suspectChange();
        microseconds time = now();
        const bool fresh = grab();
        if (time <= lastTime) // repeats were sent while the server hung
            time = now();
        if (fresh)
            send(time, grabber.damage().rects());
        else if (isTimeToRepeat())
            send(time, {});
        grabber.giveBackMemory();
    }

    bool grab() {
        grabBegan = Clock::now();
        try {
            const bool fresh = !isBroken && grabber.grab();
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
        auto frame = std::make_shared<CanvasFrame>(grabber.picture());
        frame->presentationTime = lastTime = std::max(time, lastTime + 1us);
        frame->sequence = nextSequence++;
        frame->damage = std::move(damage);
        lastSent = Clock::now();
        pacer.taken(lastSent);
        owner.channel->send(std::move(frame));
    }

    void finish(microseconds time) {
        takeNoteOfEvents();
        const bool fresh = pool->canTake() && grab();
        send(time, fresh ? grabber.damage().rects() : std::vector<Rect>());
    }

    void wait() {
        auto until = repeatTime();
        if (!isBroken && grabber.mayHaveChanged())
            until = std::min(until, grabTime());
        // Without room or a free canvas, the waker ends the wait.
        waitForData(canSend() ? std::optional(until - Clock::now()) : std::nullopt);
    }

    // A hung server has a limited time for its answers at the start and after `stop()`. Between them it has
    // any: the last picture is repeated meanwhile, so that the file's time goes on.
    bool waitForReply() {
        const auto order = owner.order();
        const auto limit = order ? order->answerBefore : answerBefore;
        if (limit && Clock::now() >= *limit)
            return false;
        const auto repeatTimeNow = [this] { return std::max(repeatTime(), grabBegan + usualAnswerWithin); };
        const bool canRepeat = !limit && canSend();
        if (canRepeat && Clock::now() >= repeatTimeNow())
            send(now(), {});
        const auto until = canRepeat ? repeatTimeNow() : limit;
        waitForData(until ? std::optional(*until - Clock::now()) : std::nullopt);
        return true;
    }

    void waitForData(std::optional<Clock::duration> most) {
        xcb_flush(connection);
        pollfd descriptors[] = {{owner.waker->descriptor(), POLLIN, 0}, {connection.descriptor(), POLLIN, 0}};
        timespec time{};
        if (most) {
            const auto left = std::max<Clock::duration>(*most, 0ns);
            time.tv_sec = std::chrono::duration_cast<std::chrono::seconds>(left).count();
            time.tv_nsec = (left % 1s).count();
        }
        ::ppoll(descriptors, isBroken ? 1 : 2, most ? &time : nullptr, nullptr);
        if (descriptors[0].revents)
            owner.waker->clear();
    }

    X11CaptureThread& owner;
    X11Connection connection;
    const std::shared_ptr<CanvasPool> pool;
    X11Grabber grabber;
    FramePacer pacer;
    const microseconds samePicture; // damage within this time of the last belongs to the same picture
    // Of the server's answers, until the capture runs.
    std::optional<Clock::time_point> answerBefore = Clock::now() + X11Connection::patience;
    bool isBroken = false;
    QString lastFailure;           // of a grab, empty after a success
    Clock::time_point firstNews{}; // time of the first change since the last picture
    Clock::time_point lastNews{};
    Clock::time_point lastSent{};
    Clock::time_point grabBegan{};
    microseconds lastTime{0};
    std::uint64_t nextSequence = 0;
};

void X11CaptureThread::end(std::optional<microseconds> lastFrameTime, Clock::duration answerWithin) {
    {
        const std::lock_guard lock(mutex);
        given = Order{lastFrameTime, Clock::now() + answerWithin};
    }
    waker->wake();
}

std::optional<X11CaptureThread::Order> X11CaptureThread::order() const {
    const std::lock_guard lock(mutex);
    return given;
}

X11CaptureThread::X11CaptureThread(QByteArray display, const ContentFilter& filter,
    const StreamConfiguration& configuration, std::shared_ptr<FrameChannel> frames,
    std::shared_ptr<Waker> wake)
    : channel(std::move(frames))
    , waker(std::move(wake))
    , thread([this, display = std::move(display), filter, configuration] {
        run(display, filter, configuration);
    }) {}

// In words for the user: an exception's own text, e.g. "std::bad_alloc", explains nothing.
void X11CaptureThread::fail() {
    const QString why = localizedDescriptionOfCurrentError();
    Log::error(QStringLiteral("capture: ended by an error, no more pictures: ") + why);
    if (!order()) // else only the last picture is missing
        channel->fail(std::make_exception_ptr(PlatformError(QStringLiteral("Tavro.X11"), 7,
            QStringLiteral("The screen cannot be recorded any more (%1).").arg(why))));
}

X11CaptureThread::~X11CaptureThread() {
    end(std::nullopt, 0s);
    thread.join();
}

Promise<void> X11CaptureThread::stop() {
    end(now(), lastAnswerWithin);
    return stoppedPromise;
}

void X11CaptureThread::run(
    const QByteArray& display, const ContentFilter& filter, const StreamConfiguration& configuration) {
    pthread_setname_np(pthread_self(), "screen-capture");
    bool isRunning = false;
    try {
        Loop loop(*this, display, filter, configuration);
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
