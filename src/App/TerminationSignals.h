#pragma once

#include "Core/Waker.h"

#include <QSocketNotifier>

namespace tavro {

/// Turns SIGTERM, SIGINT and SIGHUP into the application's ordinary quit. One object at a time; main thread.
class TerminationSignals {
public:
    TerminationSignals();
    ~TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

private:
    Waker waker;
    QSocketNotifier notifier;
};

} // namespace tavro
