#include "Platform/Desktop/SecretServiceStore.h"

#include "Core/Log.h"
#include "Core/Paths.h"
#include "Platform/Desktop/FileSecretStore.h"
#include "Platform/Desktop/SecretServiceConnection.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <pthread.h>
#include <thread>
#include <utility>

namespace tavro {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// For how long a caller waits, and for how long while the service is known not to answer. Both together stay
// below 100 ms: a change is often two calls.
constexpr auto patience = 80ms;
constexpr auto impatience = 10ms;
// For how long a value that came too late for its caller is good for the next.
constexpr auto lateValueLasts = 5s;

struct Request {
    enum class Kind { prepare, read, add, remove, moveFromFile };

    const Kind kind;
    const SecretKey key;
    const QByteArray value;
    // Under the worker's lock.
    int waiting = 0; // callers that still wait for the outcome
    bool settled = false;
    bool succeeded = false;
    std::optional<QByteArray> found = std::nullopt;
    bool mayAsk = true; // the user, for the password
};
using RequestPtr = std::shared_ptr<Request>;

} // namespace

class SecretServiceStore::Worker {
public:
    using Kind = Request::Kind;

    explicit Worker(std::filesystem::path fallbackFile)
        : file(std::move(fallbackFile))
        , queue{std::make_shared<Request>(Kind::prepare)}
        , thread([this] { run(); }) {}

    ~Worker() {
        {
            const std::lock_guard lock(mutex);
            stopping = true;
        }
        connection.abandon();
        thread.join();
    }

    struct Outcome {
        bool succeeded = false;
        std::optional<QByteArray> found;
    };

    void setLateHandler(std::function<void()> handler) {
        const std::lock_guard lock(mutex);
        onLate = std::move(handler);
    }

    /// Has the request served and waits for that, up to the patience of a caller.
    Outcome perform(Kind kind, const SecretKey& key, const QByteArray& value = {}) {
        const auto deadline = Clock::now() + (doesNotAnswer() ? impatience : patience);
        const RequestPtr request = submit(kind, key, value, 1);
        std::unique_lock lock(mutex);
        settled.wait_until(lock, deadline, [&] { return request->settled; });
        --request->waiting;
        return {request->succeeded, request->found};
    }

    FileSecretStore file;

    /// What a read found that its caller did not wait for.
    std::optional<QByteArray> lateValue(const SecretKey& key) {
        const std::lock_guard lock(mutex);
        const bool isGood = late && late->key == key && Clock::now() < late->until;
        return isGood ? std::optional(late->value) : std::nullopt;
    }

    /// Moves what the file holds into the service, when that is there; nobody waits for it.
    void moveFromFile(const SecretKey& key, const QByteArray& value) {
        submit(Kind::moveFromFile, key, value, 0);
    }

private:
    using Presence = SecretServiceConnection::Presence;
    using Locked = SecretServiceConnection::Locked;
    using Change = SecretServiceConnection::Change;

    struct LateValue {
        SecretKey key;
        QByteArray value;
        Clock::time_point until;
    };

    static bool isChange(Kind kind) { return kind == Kind::add || kind == Kind::remove; }

    RequestPtr submit(Kind kind, const SecretKey& key, const QByteArray& value, int waiting) {
        RequestPtr request;
        {
            const std::lock_guard lock(mutex);
            request = admit(kind, key, value);
            request->waiting += waiting;
        }
        connection.wake();
        return request;
    }

    bool doesNotAnswer() {
        const std::lock_guard lock(mutex);
        return running && running->kind != Kind::prepare && Clock::now() - runningSince > patience;
    }

    // A read that comes while one of the same secret is under way shares its outcome, unless a change is due
    // between the two. A change takes the place of older requests that nobody waits for any more.
    RequestPtr admit(Kind kind, const SecretKey& key, const QByteArray& value) {
        if (isChange(kind))
            late.reset();
        if (RequestPtr latest = latestOf(key); latest && latest->kind == kind && !isChange(kind))
            return latest;
        if (isChange(kind))
            std::erase_if(queue, [&](const RequestPtr& older) {
                return older->waiting == 0 && older->kind != Kind::prepare && older->key == key;
            });
        queue.push_back(std::make_shared<Request>(kind, key, value));
        return queue.back();
    }

    RequestPtr latestOf(const SecretKey& key) const {
        const auto last = std::find_if(
            queue.rbegin(), queue.rend(), [&](const RequestPtr& request) { return request->key == key; });
        if (last != queue.rend())
            return *last;
        return running && running->key == key ? running : nullptr;
    }

    // Below: on the worker's thread.

    void run() {
        pthread_setname_np(pthread_self(), "secrets");
        connection.attach();
        try {
            while (const RequestPtr request = next()) {
                lockedOut = false;
                const Outcome outcome = serve(*request);
                settle(*request, outcome);
                if (request->kind == Kind::add && !outcome.succeeded)
                    Log::error(QStringLiteral("secrets: %1 was not stored").arg(request->key.account) +
                               (lockedOut ? QStringLiteral(", the keyring stayed locked") : QString()));
            }
        } catch (const SecretServiceConnection::Abandoned&) {
        }
        connection.detach();
    }

    void settle(Request& request, const Outcome& outcome) {
        std::unique_lock lock(mutex);
        request.succeeded = outcome.succeeded;
        request.found = outcome.found;
        request.settled = true;
        // A refusal is the answer to all that waited for it; but one that was given to a read is none to a
        // change.
        if (lockedOut)
            for (const RequestPtr& next : queue)
                next->mayAsk = next->mayAsk && isChange(next->kind) && !isChange(request.kind);
        running.reset();
        settled.notify_all();
        const bool isNews = request.kind == Kind::read || request.kind == Kind::add;
        const bool isOutdated = latestOf(request.key) != nullptr; // by a change that waits
        if (request.waiting > 0 || !isNews || !outcome.succeeded || isOutdated)
            return;
        if (outcome.found)
            late = LateValue{request.key, *outcome.found, Clock::now() + lateValueLasts};
        const auto tell = onLate;
        lock.unlock();
        if (tell)
            tell();
    }

    // Null at the end.
    RequestPtr next() {
        for (;;) {
            {
                const std::lock_guard lock(mutex);
                if (stopping)
                    return nullptr;
                if (!queue.empty()) {
                    running = queue.front();
                    runningSince = Clock::now();
                    queue.pop_front();
                    return running;
                }
            }
            connection.waitForEvents();
        }
    }

    Outcome serve(const Request& request) {
        if (request.kind == Kind::prepare)
            return {connection.prepare(), {}};
        const Presence presence = connection.presence();
        switch (request.kind) {
        case Kind::read:
            return presence == Presence::there ? lookup(request) : Outcome{};
        case Kind::add:
            if (presence == Presence::absent)
                return {file.add(request.key.service, request.key.account, request.value), {}};
            return {presence == Presence::there && store(request), {}};
        case Kind::remove:
            return {remove(request, presence), {}};
        default:
            if (presence == Presence::there && !moveRefused)
                moveRefused = !store(request);
            return {};
        }
    }

    Locked whenLocked(const Request& request) {
        const std::lock_guard lock(mutex);
        return request.mayAsk && !(request.kind == Kind::read && unlockRefused) ? Locked::askToUnlock
                                                                                : Locked::leave;
    }

    void noteLocked(bool locked) { unlockRefused = lockedOut = locked; }

    Outcome lookup(const Request& request) {
        auto found = connection.lookup(request.key, whenLocked(request));
        noteLocked(found.locked);
        return {found.value.has_value(), std::move(found.value)};
    }

    bool store(const Request& request) {
        const auto change = connection.store(request.key, request.value, whenLocked(request));
        noteLocked(change == Change::locked);
        if (change != Change::made)
            return false;
        if (request.kind == Kind::moveFromFile)
            file.removeIf(request.key.service, request.key.account, request.value);
        else
            file.remove(request.key.service, request.key.account);
        return true;
    }

    bool remove(const Request& request, Presence presence) {
        const bool gone = file.remove(request.key.service, request.key.account);
        if (presence != Presence::there)
            return gone && presence == Presence::absent;
        const auto change = connection.clear(request.key, whenLocked(request));
        noteLocked(change == Change::locked);
        return gone && change == Change::made;
    }

    SecretServiceConnection connection;
    bool lockedOut = false;     // the request under way found all locked, and it stayed so
    bool unlockRefused = false; // asked again only after a change, or when somebody else has unlocked
    bool moveRefused = false;

    std::mutex mutex;
    std::condition_variable settled;
    std::deque<RequestPtr> queue;
    RequestPtr running;
    Clock::time_point runningSince;
    std::optional<LateValue> late;
    std::function<void()> onLate;
    bool stopping = false;
    std::thread thread; // last: it uses all of the above
};

SecretServiceStore::SecretServiceStore(std::filesystem::path fallbackFile)
    : worker(std::make_unique<Worker>(std::move(fallbackFile))) {}

SecretServiceStore::~SecretServiceStore() = default;

std::filesystem::path SecretServiceStore::defaultFallbackFile() {
    return Paths::applicationSupport() / "tavro" / "secrets.json";
}

void SecretServiceStore::setLateHandler(std::function<void()> handler) {
    worker->setLateHandler(std::move(handler));
}

std::optional<QByteArray> SecretServiceStore::read(const QString& service, const QString& account) {
    const SecretKey key{service, account};
    // The file holds something only while the service does not have it yet: then the file's is the newer one.
    if (auto kept = worker->file.read(service, account)) {
        worker->moveFromFile(key, *kept);
        return kept;
    }
    if (auto late = worker->lateValue(key))
        return late;
    return worker->perform(Request::Kind::read, key).found;
}

bool SecretServiceStore::add(const QString& service, const QString& account, const QByteArray& value) {
    return worker->perform(Request::Kind::add, {service, account}, value).succeeded;
}

bool SecretServiceStore::remove(const QString& service, const QString& account) {
    worker->file.remove(service, account); // at once, so that no read finds it while the service is slow
    return worker->perform(Request::Kind::remove, {service, account}).succeeded;
}

} // namespace tavro
