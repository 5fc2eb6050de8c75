#include "App/DisplayNeeded.h"

#include <QByteArray>
#include <QString>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <utility>
#include <vector>

namespace tavro {
namespace {

std::mutex mutex; // other threads of Qt may tell something, too
std::vector<std::pair<QtMsgType, QString>> held;

/// Of what is held only a missing plugin explains why there is no display.
QByteArray missingPlugin() {
    const std::lock_guard lock(mutex);
    const auto isReason = [](const auto& message) {
        return message.second.startsWith(QLatin1String("Could not find the Qt platform plugin"));
    };
    const auto found = std::ranges::find_if(held, isReason);
    return found == held.end() ? QByteArray() : found->second.toUtf8();
}

[[noreturn]] void endWithoutDisplay() {
    if (const QByteArray reason = missingPlugin(); !reason.isEmpty()) {
        std::fprintf(stderr, "tavro: %s.\n", reason.constData());
        std::_Exit(EXIT_FAILURE);
    }
    const QByteArray x11 = qgetenv("DISPLAY");
    const QByteArray wayland = qgetenv("WAYLAND_DISPLAY");
    if (x11.isEmpty() && wayland.isEmpty())
        std::fputs("tavro: there is no display, neither DISPLAY nor WAYLAND_DISPLAY is set.\n", stderr);
    else
        std::fprintf(stderr, "tavro: the display \"%s\" cannot be opened.\n",
            (x11.isEmpty() ? wayland : x11).constData());
    std::_Exit(EXIT_FAILURE);
}

void handle(QtMsgType type, const QMessageLogContext&, const QString& text) {
    if (type == QtFatalMsg)
        endWithoutDisplay();
    const std::lock_guard lock(mutex);
    held.emplace_back(type, text);
}

} // namespace

DisplayNeeded::DisplayNeeded() : before(qInstallMessageHandler(&handle)) {}

DisplayNeeded::~DisplayNeeded() {
    qInstallMessageHandler(before);
    for (const auto& [type, text] : std::exchange(held, {}))
        qt_message_output(type, {}, text);
}

} // namespace tavro
