#pragma once

#include "Auth/LocalCallbackServer.h"
#include "Auth/LoopbackSockets.h"

#include <QByteArray>

#include <chrono>

namespace tavro {

/// One client of the callback server: one receive, one answer, and it is over. Driven by a poll loop, never
/// waits.
class CallbackConnection {
public:
    using Clock = std::chrono::steady_clock;

    CallbackConnection(FileDescriptor socket, Clock::time_point deadline, QByteArray response);

    int descriptor() const { return socket.get(); }
    short events() const; ///< what to poll for
    /// Goes as far as the socket allows; to be called when one of the events has come.
    void proceed(const LocalCallbackServer::CodeHandler& onCode);

    bool isDone() const { return phase == Phase::done; }
    Clock::time_point deadline() const { return end; } ///< when to drop it at the latest

private:
    enum class Phase { receiving, sending, draining, done };
    void receive(const LocalCallbackServer::CodeHandler& onCode);
    void send();
    void drain();

    FileDescriptor socket;
    Clock::time_point end;
    QByteArray unsent;
    std::size_t drained = 0;
    Phase phase = Phase::receiving;
};

} // namespace tavro
