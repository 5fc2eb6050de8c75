#include "Core/Log.h"

#include "Core/Paths.h"

#include <cerrno>
#include <fcntl.h>
#include <mutex>
#include <unistd.h>

namespace tavro::Log {

namespace {

void writeAll(int descriptor, const QByteArray& bytes) {
    const char* next = bytes.constData();
    auto left = static_cast<std::size_t>(bytes.size());
    while (left > 0) {
        const ssize_t written = ::write(descriptor, next, left);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return;
        next += written;
        left -= static_cast<std::size_t>(written);
    }
}

void write(const char* level, const QString& message) {
    static std::mutex mutex;
    const QByteArray line = '[' + QByteArray(level) + "] " + message.toUtf8() + '\n';

    const std::lock_guard lock(mutex);
    writeAll(STDERR_FILENO, line);
    const int file = ::open(url().c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0)
        return;
    writeAll(file, line);
    ::close(file);
}

} // namespace

void info(const QString& message) {
    write("INFO", message);
}

void error(const QString& message) {
    write("ERROR", message);
}

const std::filesystem::path& url() {
    static const std::filesystem::path location = [] {
        const auto folder = Paths::library() / "Logs" / "Tavro";
        std::error_code ignored;
        std::filesystem::create_directories(folder, ignored);
        return folder / "tavro.log";
    }();
    return location;
}

} // namespace tavro::Log
