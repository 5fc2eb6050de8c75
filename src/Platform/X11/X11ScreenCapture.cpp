#include "Platform/X11/X11ScreenCapture.h"

#include "Core/DesktopSession.h"
#include "Core/Errors.h"
#include "Core/SerialQueue.h"
#include "Platform/Screen/CaptureStream.h"
#include "Platform/X11/X11Content.h"
#include "Platform/X11/X11Source.h"

namespace tavro {
namespace {

// An explicit display is used even on a Wayland desktop.
bool isWaylandDesktop(const QByteArray& display) {
    return display.isEmpty() && isWaylandSession();
}

const QString onlyX11 =
    QStringLiteral("Tavro records X11 desktops. Log in to an X11 session (“on Xorg”) to record.");

ShareableContent readContent(const QByteArray& display) {
    if (isWaylandDesktop(display)) // its X server shows a black picture
        throw PlatformError(QStringLiteral("Tavro.X11"), 6, onlyX11);
    X11Connection connection(display);
    ShareableContent content;
    for (const X11Monitor& monitor : listMonitors(connection))
        content.displays.push_back({monitor.id, monitor.area.width, monitor.area.height});
    content.windows = listWindows(connection);
    connection.requireAnswers();
    return content;
}

class X11ScreenCapture final : public ScreenCaptureService {
public:
    X11ScreenCapture(AssetWriterFactory& factory, QByteArray server)
        : writers(factory)
        , display(std::move(server)) {}

    QCoro::Task<ShareableContent> shareableContent() override {
        SerialQueue queue(QStringLiteral("x11-content")); // the server may be slow
        const auto content = queue.run([server = display] { return readContent(server); });
        co_return co_await content;
    }

    std::unique_ptr<ScreenStream> makeStream(
        const ContentFilter& filter, const StreamConfiguration& configuration) override {
        const auto makeSource = [server = display, filter, configuration](auto canvases) {
            return std::make_unique<X11Source>(server, filter, configuration, std::move(canvases));
        };
        return std::make_unique<CaptureStream>(
            [makeSource]() -> QCoro::Task<CaptureStream::Prepared> {
                co_return CaptureStream::Prepared{makeSource, nullptr};
            },
            configuration);
    }

    std::shared_ptr<RecordingOutput> makeRecordingOutput(const std::filesystem::path& file) override {
        return std::make_shared<WriterRecordingOutput>(writers, file);
    }

private:
    AssetWriterFactory& writers;
    const QByteArray display;
};

} // namespace

std::unique_ptr<ScreenCaptureService> makeX11ScreenCapture(AssetWriterFactory& writers, QByteArray display) {
    return std::make_unique<X11ScreenCapture>(writers, std::move(display));
}

QString obstacleToX11Capture(const QByteArray& display) {
    if (isWaylandDesktop(display))
        return onlyX11;
    try {
        const X11Connection connection(display);
        return {};
    } catch (const PlatformError& error) {
        return error.message();
    }
}

} // namespace tavro
