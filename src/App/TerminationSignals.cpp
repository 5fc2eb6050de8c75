#include "App/TerminationSignals.h"

#include <QCoreApplication>

#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace tavro {
namespace {

constexpr std::array numbers{SIGTERM, SIGINT, SIGHUP};

int wakeUp = -1; // a signal handler reaches nothing but globals

void handle(int) {
    const int before = errno;
    const char byte = 0;
    [[maybe_unused]] const auto written =
        ::write(wakeUp, &byte, sizeof byte); // when full, a wake-up is under way
    errno = before;
}

std::array<int, 2> makePair() {
    std::array<int, 2> pair{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, pair.data()) != 0)
        throw std::system_error(errno, std::generic_category(), "socketpair");
    return pair;
}

void install(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    for (const int number : numbers)
        ::sigaction(number, &action, nullptr);
}

} // namespace

TerminationSignals::TerminationSignals() : sockets(makePair()), notifier(sockets[1], QSocketNotifier::Read) {
    QObject::connect(&notifier, &QSocketNotifier::activated, &notifier, [this] {
        std::array<char, 16> bytes{};
        while (::read(sockets[1], bytes.data(), bytes.size()) > 0) {
        }
        QCoreApplication::quit();
    });
    wakeUp = sockets[0];
    install(&handle);
}

TerminationSignals::~TerminationSignals() {
    install(SIG_DFL);
    for (const int socket : sockets)
        ::close(socket);
}

} // namespace tavro
