#include "App/TerminationSignals.h"

#include <QCoreApplication>

#include <cerrno>
#include <csignal>

namespace tavro {
namespace {

Waker* wakeUp = nullptr; // a signal handler can use only globals

void handle(int) {
    const int before = errno;
    wakeUp->wake();
    errno = before;
}

void install(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    for (const int number : {SIGTERM, SIGINT, SIGHUP})
        ::sigaction(number, &action, nullptr);
}

} // namespace

TerminationSignals::TerminationSignals() : notifier(waker.descriptor(), QSocketNotifier::Read) {
    QObject::connect(&notifier, &QSocketNotifier::activated, &notifier, [this] {
        waker.clear();
        QCoreApplication::quit();
    });
    wakeUp = &waker;
    install(&handle);
}

TerminationSignals::~TerminationSignals() {
    install(SIG_DFL);
}

} // namespace tavro
