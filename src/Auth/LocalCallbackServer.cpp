#include "Auth/LocalCallbackServer.h"

#include "Auth/AuthError.h"
#include "Core/Log.h"
#include "Core/SerialQueue.h"
#include "Core/Waker.h"
#include "Platform/SystemNames.h"

#include <QSocketNotifier>
#include <QTcpServer>
#include <QTimer>

#include <algorithm>
#include <array>
#include <cerrno>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace tavro {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t mostConnections = 64;
constexpr std::size_t longestReceive = 4096;
// Limits for input after the answer. A browser ends its side long before.
constexpr ssize_t longestDrain = 1 << 20;
constexpr std::chrono::milliseconds drainTime = 2s;
constexpr int attempts = 300;
constexpr auto pause = 10ms;
constexpr auto pauseAfterFailure = 100ms; // accepting fails while descriptors are short

// Passes on raw descriptors: QTcpSocket cannot answer a client that has shut down its sending side.
class Listener : public QTcpServer {
public:
    explicit Listener(std::function<void(int accepted)> handler) : serve(std::move(handler)) {
        connect(this, &QTcpServer::acceptError, this, [this](QAbstractSocket::SocketError error) {
            if (error != QAbstractSocket::UnsupportedSocketOperationError)
                return QTimer::singleShot(pauseAfterFailure, this, &QTcpServer::resumeAccepting);
            Log::error(QStringLiteral("callback server: listener failed: ") + errorString());
            close();
        });
    }

private:
    void incomingConnection(qintptr descriptor) override { serve(static_cast<int>(descriptor)); }

    const std::function<void(int accepted)> serve;
};

} // namespace

// One client: one receive, then one answer.
class LocalCallbackServer::Connection {
public:
    Connection(int accepted, std::chrono::milliseconds limit, CodeHandler handler)
        : socket(accepted)
        , onCode(std::move(handler))
        , readable(accepted, QSocketNotifier::Read) {
        QObject::connect(&readable, &QSocketNotifier::activated, &readable, [this] { receive(); });
        QObject::connect(&timer, &QTimer::timeout, &timer, [this] { end(); });
        timer.start(limit);
    }
    ~Connection() { end(); }

    // Negative after the end of the connection.
    std::chrono::milliseconds remainingTime() const { return timer.remainingTimeAsDuration(); }

    // Closing a socket with unread data resets the connection, and the browser may lose the page. So input
    // after the answer is read and discarded until the client ends its side.
    void receive() {
        if (socket < 0)
            return;
        std::array<char, longestReceive> buffer;
        const ssize_t size = ::recv(socket, buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (size < 0 && (errno == EAGAIN || errno == EINTR))
            return;
        if (!isAnswered)
            return answer(QByteArrayView(buffer.data(), std::max<ssize_t>(size, 0)));
        drained += size;
        if (size <= 0 || drained > longestDrain)
            end();
    }

private:
    void answer(QByteArrayView request) {
        if (const auto code = extractCode(request))
            onCode(*code);
        const QByteArray page = response();
        const auto size = static_cast<std::size_t>(page.size());
        // An empty send buffer takes the whole page at once.
        if (::send(socket, page.constData(), size, MSG_NOSIGNAL | MSG_DONTWAIT) != page.size())
            return end();
        ::shutdown(socket, SHUT_WR);
        isAnswered = true;
        timer.start(std::min(remainingTime(), drainTime));
    }

    void end() {
        timer.stop();
        readable.setEnabled(false);
        if (socket >= 0)
            ::close(std::exchange(socket, -1));
    }

    int socket;
    const CodeHandler onCode;
    QSocketNotifier readable;
    QTimer timer;
    bool isAnswered = false;
    ssize_t drained = 0;
};

LocalCallbackServer::LocalCallbackServer(std::chrono::milliseconds connectionLimit)
    : limit(connectionLimit) {}

LocalCallbackServer::~LocalCallbackServer() {
    if (thread)
        thread->sync([this] {
            listeners.clear();
            connections.clear();
        });
}

int LocalCallbackServer::start(const CodeHandler& onCode) {
    stop();
    int port = 0;
    try {
        if (!thread) {
            // Qt aborts when a new event loop gets no descriptor. The loop needs one, the ports need two.
            const std::array<Waker, 3> obtainable;
            thread = std::make_unique<SerialQueue>(QStringLiteral("callback-server"));
        }
        for (int attempt = 0; attempt < attempts && port == 0; ++attempt) {
            if (attempt > 0)
                std::this_thread::sleep_for(pause);
            port = listen(onCode);
        }
    } catch (...) {
        Log::error(QStringLiteral("callback server: %1 init failed: ").arg(SystemNames::listener) +
                   describeCurrentError().text);
        throw;
    }
    if (port == 0) {
        Log::error(QStringLiteral("callback server: no port assigned after 3s"));
        throw AuthError(AuthError::Case::failed);
    }
    Log::info(QStringLiteral("callback server: listener ready"));
    Log::info(QStringLiteral("callback server: listening on port %1").arg(port));
    return port;
}

// Returns 0 when the IPv4 port is taken on IPv6.
int LocalCallbackServer::listen(const CodeHandler& onCode) {
    quint16 port = 0;
    std::optional<PlatformError> failure;
    thread->sync([&] {
        const auto accept = [this, onCode](int accepted) { serve(accepted, onCode); };
        auto ipv4 = std::make_unique<Listener>(accept);
        auto ipv6 = std::make_unique<Listener>(accept);
        if (!ipv4->listen(QHostAddress::LocalHost)) {
            failure.emplace(QStringLiteral("QAbstractSocket"), ipv4->serverError(), ipv4->errorString());
            return;
        }
        // Browsers resolve "localhost" to either family. Some systems have no IPv6.
        if (!ipv6->listen(QHostAddress::LocalHostIPv6, ipv4->serverPort()) &&
            ipv6->serverError() == QAbstractSocket::AddressInUseError)
            return;
        port = ipv4->serverPort();
        listeners.push_back(std::move(ipv4));
        listeners.push_back(std::move(ipv6));
    });
    if (failure)
        throw PlatformError(*failure);
    return port;
}

void LocalCallbackServer::stop() {
    if (thread)
        thread->sync([this] { listeners.clear(); });
}

// At the limit a new client replaces the connection with the least time left, so idle clients block nobody.
// Those who wait for an answer are answered first: they then have two seconds left, most idle ones more.
void LocalCallbackServer::serve(int accepted, const CodeHandler& onCode) {
    if (connections.size() >= mostConnections) {
        std::ranges::for_each(connections, &Connection::receive);
        connections.erase(std::min_element(connections.begin(), connections.end(),
            [](const auto& a, const auto& b) { return a->remainingTime() < b->remainingTime(); }));
    }
    connections.push_back(std::make_unique<Connection>(accepted, limit, onCode));
}

} // namespace tavro
