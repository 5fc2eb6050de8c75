#include "Core/StandardStreams.h"

#include <csignal>
#include <fcntl.h>
#include <initializer_list>
#include <unistd.h>

namespace tavro {

void secureStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (::fcntl(stream, F_GETFD) < 0)
            ::open("/dev/null", O_RDWR); // takes the lowest free number
    std::signal(SIGPIPE, [](int) {});    // not ignored: exec would pass that on
}

} // namespace tavro
