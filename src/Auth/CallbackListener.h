#pragma once

#include "Auth/CallbackConnection.h"

#include <condition_variable>
#include <list>
#include <mutex>
#include <thread>
#include <vector>

struct pollfd;

namespace tavro {

/// The callback server's thread: accepts clients on the sockets and serves up to 64 of them at a time. When
/// one more comes, the one that would have to go next anyway makes room for it, so that idle clients keep
/// nobody out.
class CallbackListener {
public:
    CallbackListener(
        LoopbackSockets sockets, LocalCallbackServer::CodeHandler onCode, std::chrono::milliseconds limit);
    ~CallbackListener(); ///< closes, cuts all connections and joins

    /// Returns when the port is closed. Clients that were accepted are served to their end, then the thread
    /// ends.
    void close();

private:
    using Clock = CallbackConnection::Clock;
    enum class Stage { listening, closing, closed };

    void run();
    bool mayContinue(); // carries out what other threads asked for
    void wait();
    void acceptFrom(const FileDescriptor& socket);
    void fail(int error);
    void serve();
    void dropOverdue();
    void wake();

    LoopbackSockets sockets; // from here on: the thread's
    const LocalCallbackServer::CodeHandler onCode;
    const std::chrono::milliseconds limit;
    std::list<CallbackConnection> connections;
    Clock::time_point acceptAgain{};
    std::vector<pollfd> polled;

    const FileDescriptor wakeUp;
    std::mutex mutex;
    std::condition_variable changed;
    Stage stage = Stage::listening;
    bool cut = false;
    std::thread thread; // last: it uses all of the above
};

} // namespace tavro
