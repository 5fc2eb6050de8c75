#pragma once

#include <QSocketNotifier>

#include <array>

namespace tavro {

/// Turns SIGTERM, SIGINT and SIGHUP into the application's ordinary quit. One object at a time; main thread.
class TerminationSignals {
public:
    TerminationSignals();
    ~TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

private:
    std::array<int, 2> sockets;
    QSocketNotifier notifier;
};

} // namespace tavro
