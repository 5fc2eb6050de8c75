#include "Auth/CallbackListener.h"

#include "Auth/ConfirmationPage.h"
#include "Core/Log.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tavro {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t mostConnections = 64;
constexpr auto pauseWithoutDescriptors = 100ms;

FileDescriptor makeEvent() {
    FileDescriptor event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!event)
        throw std::system_error(errno, std::generic_category(), "eventfd");
    return event;
}

bool earlier(const CallbackConnection& a, const CallbackConnection& b) {
    return a.deadline() < b.deadline();
}

} // namespace

CallbackListener::CallbackListener(LoopbackSockets listening, LocalCallbackServer::CodeHandler handler,
    std::chrono::milliseconds connectionLimit)
    : sockets(std::move(listening))
    , onCode(std::move(handler))
    , limit(connectionLimit)
    , wakeUp(makeEvent())
    , thread([this] { run(); }) {}

CallbackListener::~CallbackListener() {
    {
        const std::lock_guard lock(mutex);
        cut = true;
        stage = Stage::closing;
    }
    wake();
    thread.join();
}

void CallbackListener::close() {
    std::unique_lock lock(mutex);
    stage = Stage::closing;
    wake();
    changed.wait(lock, [&] { return stage == Stage::closed; });
}

void CallbackListener::wake() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(wakeUp.get(), &one, sizeof one);
}

void CallbackListener::run() {
    pthread_setname_np(pthread_self(), "callback-server");
    while (mayContinue()) {
        wait();
        serve();
        dropOverdue();
    }
}

bool CallbackListener::mayContinue() {
    std::unique_lock lock(mutex);
    if (stage == Stage::listening)
        return true;
    if (cut)
        connections.clear();
    sockets = {};
    stage = Stage::closed;
    changed.notify_all();
    return !connections.empty();
}

void CallbackListener::wait() {
    polled.assign({{wakeUp.get(), POLLIN, 0}});
    auto next = Clock::time_point::max();
    if (Clock::now() < acceptAgain)
        next = acceptAgain;
    else
        for (const FileDescriptor* socket : {&sockets.ipv4, &sockets.ipv6})
            if (*socket)
                polled.push_back({socket->get(), POLLIN, 0});
    for (const CallbackConnection& connection : connections) {
        polled.push_back({connection.descriptor(), connection.events(), 0});
        next = std::min(next, connection.deadline());
    }
    int timeout = -1;
    if (next != Clock::time_point::max())
        timeout = static_cast<int>(std::max<std::int64_t>(
            0, std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now()).count()));
    if (::poll(polled.data(), polled.size(), timeout) < 0)
        for (pollfd& entry : polled)
            entry.revents = 0;
}

void CallbackListener::serve() {
    const auto hasCome = [&](int descriptor) {
        return std::any_of(polled.begin(), polled.end(),
            [&](const pollfd& entry) { return entry.fd == descriptor && entry.revents != 0; });
    };
    std::uint64_t count = 0;
    if (hasCome(wakeUp.get())) [[maybe_unused]]
        const auto size = ::read(wakeUp.get(), &count, sizeof count);
    for (CallbackConnection& connection : connections)
        if (hasCome(connection.descriptor()))
            connection.proceed(onCode);
    connections.remove_if([](const CallbackConnection& connection) { return connection.isDone(); });
    for (const FileDescriptor* socket : {&sockets.ipv4, &sockets.ipv6})
        if (*socket && hasCome(socket->get()))
            acceptFrom(*socket);
}

void CallbackListener::acceptFrom(const FileDescriptor& socket) {
    FileDescriptor client(::accept4(socket.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (client) {
        if (connections.size() >= mostConnections)
            connections.erase(std::min_element(connections.begin(), connections.end(), earlier));
        connections.emplace_back(std::move(client), Clock::now() + limit, confirmationResponse());
        return;
    }
    switch (errno) {
    case EBADF:
    case EINVAL:
    case ENOTSOCK:
    case EFAULT:
        fail(errno);
        return;
    case EMFILE:
    case ENFILE:
    case ENOBUFS:
    case ENOMEM:
        acceptAgain = Clock::now() + pauseWithoutDescriptors;
        return;
    default: // the client has gone again, or something between has: the next one may do better
        return;
    }
}

void CallbackListener::fail(int error) {
    const std::system_error failure(error, std::generic_category());
    Log::error(QStringLiteral("callback server: listener failed: ") + QString::fromLocal8Bit(failure.what()));
    sockets = {};
}

void CallbackListener::dropOverdue() {
    const auto now = Clock::now();
    connections.remove_if([&](const CallbackConnection& connection) { return connection.deadline() <= now; });
}

} // namespace tavro
