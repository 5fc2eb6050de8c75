#include "Auth/LocalCallbackServer.h"

#include "Auth/AuthError.h"
#include "Auth/CallbackListener.h"
#include "Core/Log.h"

#include <thread>
#include <utility>

namespace tavro {

namespace {

using namespace std::chrono_literals;

constexpr int attempts = 300;
constexpr auto pause = 10ms;

LoopbackSockets openSockets() {
    for (int attempt = 0; attempt < attempts; ++attempt) {
        LoopbackSockets sockets = LoopbackSockets::open();
        if (sockets.port != 0)
            return sockets;
        std::this_thread::sleep_for(pause);
    }
    return {};
}

} // namespace

LocalCallbackServer::LocalCallbackServer(std::chrono::milliseconds connectionLimit)
    : limit(connectionLimit) {}

LocalCallbackServer::~LocalCallbackServer() = default;

int LocalCallbackServer::start(CodeHandler onCode) {
    stop();
    int port = 0;
    try {
        LoopbackSockets sockets = openSockets();
        port = sockets.port;
        if (port != 0)
            listener = std::make_unique<CallbackListener>(std::move(sockets), std::move(onCode), limit);
    } catch (...) {
        Log::error(QStringLiteral("callback server: NWListener init failed: ") + describeCurrentError().text);
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

void LocalCallbackServer::stop() {
    if (!listener)
        return;
    listener->close();
    stopped = std::move(listener);
}

} // namespace tavro
