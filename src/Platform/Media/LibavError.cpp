#include "Platform/Media/LibavError.h"

#include "Platform/Media/LibavHandles.h"

#include <QStringList>

#include <array>
#include <cstdarg>
#include <system_error>
#include <utility>

namespace tavro::libav {

namespace {

// Libav logs the details of an error. Keeps them for the next `error()` instead of standard error.
thread_local QStringList reported;
constexpr qsizetype mostLinesKept = 8;

void collect(void* source, int level, const char* format, va_list arguments) {
    if (level > AV_LOG_ERROR)
        return;
    std::array<char, 1024> line{};
    int startsLine = 1;
    av_log_format_line(source, level, format, arguments, line.data(), line.size(), &startsLine);
    if (reported.size() == mostLinesKept)
        reported.removeFirst();
    reported.append(QString::fromUtf8(line.data()).trimmed());
}

// Set before the first libav call.
const bool collecting = (av_log_set_callback(collect), true);

} // namespace

PlatformError error(int code) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(code, text.data(), text.size());
    QString message = QString::fromUtf8(text.data());
    if (const QStringList lines = std::exchange(reported, {}); !lines.isEmpty())
        message += QStringLiteral(" (%1)").arg(lines.join(QStringLiteral("; ")));
    return PlatformError(QStringLiteral("libav"), code, message, causeOfErrno(AVUNERROR(code)));
}

int check(int code) {
    if (code < 0)
        throw error(code);
    return code;
}

PlatformError systemError(int errorNumber) {
    return PlatformError(QStringLiteral("POSIX"), errorNumber,
        QString::fromStdString(std::generic_category().message(errorNumber)), causeOfErrno(errorNumber));
}

} // namespace tavro::libav
