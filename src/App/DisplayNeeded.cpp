#include "App/DisplayNeeded.h"

#include <QByteArray>
#include <QString>

#include <cstdio>
#include <cstdlib>
#include <utility>
#include <vector>

namespace tavro {
namespace {

std::vector<std::pair<QtMsgType, QString>> held; // of no interest when there is no display

[[noreturn]] void endWithoutDisplay() {
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
