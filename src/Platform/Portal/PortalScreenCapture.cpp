#include "Platform/Portal/PortalScreenCapture.h"

#include "Core/Errors.h"
#include "Core/EventLoop.h"
#include "Core/Log.h"
#include "Core/Paths.h"
#include "Core/SerialQueue.h"
#include "Platform/PipeWire/PipeWireSource.h"

#include <algorithm>
#include <fcntl.h>
#include <utility>

namespace tavro {

using portal::Cast;
using portal::CastDisplay;
using portal::CastSession;

namespace {

constexpr unsigned pointerInPicture = 2; // cursor modes
constexpr unsigned pointerBeside = 4;

const QString chosen = QStringLiteral("displays"); // the service of the tokens in their file
const QString shared =
    QStringLiteral("shared"); // of the displays that were shared once, also without a token

PlatformError captureError(int code, const QString& message, Cause cause = {}) {
    return PlatformError(QStringLiteral("Tavro.Portal"), code, message, cause);
}

// The connector, and what dialogs call the display.
QString nameOf(const CastDisplay& display) {
    if (display.isAmbiguous)
        return QStringLiteral("a display");
    const WaylandOutput& output = display.outputs.front();
    QString description = output.description.trimmed();
    description.remove(QStringLiteral(" (%1)").arg(output.connector));
    return description.isEmpty() ? output.connector
                                 : QStringLiteral("%1 (%2)").arg(output.connector, description);
}

// Its portal says where a shared display is; the others' displays can only be told apart by their size. It
// stamps pictures with the time at which they were shown; another stamps them with that of the one before.
bool isGnome() {
    return qgetenv("XDG_CURRENT_DESKTOP").split(':').contains("GNOME");
}

QString hintFor(const CastDisplay& display) {
    if (display.isAmbiguous)
        return QStringLiteral("Your desktop will ask which display to share.");
    return QStringLiteral("Your desktop will ask what to share: choose %1.").arg(nameOf(display));
}

} // namespace

struct PortalScreenCapture::Interruption {
    std::function<void()> handler = [] {};
};

PortalScreenCapture::PortalScreenCapture(AssetWriterFactory& factory, const std::filesystem::path& tokenFile,
    QDBusConnection connection, ListOutputs list)
    : writers(factory)
    , tokens{tokenFile}
    , bus(std::move(connection))
    , outputs(std::move(list))
    , interruption(std::make_shared<Interruption>()) {}

QCoro::Task<ShareableContent> PortalScreenCapture::shareableContent() {
    auto refreshing = refresh();
    co_await refreshing;
    if (!missing.isEmpty())
        throw captureError(1, missing);
    auto listing = displays();
    ShareableContent content;
    for (CastDisplay& display : co_await listing) {
        if (!hasTokens() || tokenFor(display).isEmpty())
            display.shown.hint = hintFor(display);
        content.displays.push_back(display.shown);
    }
    co_return content;
}

std::unique_ptr<ScreenStream> PortalScreenCapture::makeStream(
    const ContentFilter& filter, const StreamConfiguration& configuration) {
    return std::make_unique<CaptureStream>(
        [this, filter, configuration] { return prepare(filter, configuration); }, configuration);
}

std::shared_ptr<RecordingOutput> PortalScreenCapture::makeRecordingOutput(const std::filesystem::path& file) {
    return std::make_shared<WriterRecordingOutput>(writers, file);
}

void PortalScreenCapture::onInterruption(std::function<void()> handler) {
    interruption->handler = std::move(handler);
}

QString PortalScreenCapture::obstacle() const {
    if (!missing.isEmpty() || !hasTokens() || !tokens.accounts(shared).isEmpty())
        return missing;
    return QStringLiteral("No display has been chosen in the desktop's dialog yet.");
}

bool PortalScreenCapture::hasTokens() const {
    return abilities.version >= firstWithTokens;
}

QCoro::Task<> PortalScreenCapture::refresh() {
    QString why;
    try {
        auto asking = portal::castAbilities(bus);
        abilities = co_await asking;
    } catch (const PlatformError& error) {
        why = error.message();
    }
    if (std::exchange(missing, why) != why && !why.isEmpty())
        Log::error(QStringLiteral("portal: ") + why);
}

QCoro::Task<> PortalScreenCapture::ask() {
    auto refreshing = refresh();
    co_await refreshing;
    if (!missing.isEmpty())
        throw captureError(1, missing);
    auto listing = displays();
    const auto all = co_await listing;
    CastSession session(bus, {});
    auto opening = session.open(pointerInPicture, {});
    const Cast cast = co_await opening;
    const CastDisplay* shown = cast.streams.size() == 1 ? displayOf(cast.streams.front(), all) : nullptr;
    if (!shown)
        throw captureError(
            6, QStringLiteral("Tavro records one whole display. Choose a display in the dialog."));
    remember(shown->key, shown, cast.restoreToken);
}

QCoro::Task<std::vector<CastDisplay>> PortalScreenCapture::displays() const {
    SerialQueue queue(QStringLiteral("wayland-outputs")); // the compositor may be slow
    const auto listing = queue.run(outputs);
    co_return portal::castDisplays(co_await listing, isGnome());
}

QCoro::Task<CaptureStream::Prepared> PortalScreenCapture::prepare(
    ContentFilter filter, StreamConfiguration configuration) {
    if (filter.kind == ContentFilter::Kind::window)
        throw captureError(6, QStringLiteral("On this desktop Tavro records displays, not windows."));
    auto opening = open(filter.id);
    const Opened opened = co_await opening;
    auto connecting = opened.session->pipeWireRemote();
    const QDBusUnixFileDescriptor remote = co_await connecting;

    const auto main = EventLoop::current();
    const auto stopped = [main, session = std::weak_ptr(opened.session)] {
        main->post([session] {
            if (const auto running = session.lock())
                running->tellOfEnd();
        });
    };
    const PipeWireSource::Options options{
        .pointerInMetadata = opened.pointerIsBeside, .tellsTimes = isGnome(), .stopped = stopped};
    const auto makeSource = [remote, node = opened.node, configuration, options](auto canvases) {
        FileDescriptor own(::fcntl(remote.fileDescriptor(), F_DUPFD_CLOEXEC, 0));
        return std::make_unique<PipeWireSource>(
            std::move(own), node, configuration, std::move(canvases), options);
    };
    co_return {makeSource, opened.session};
}

QCoro::Task<PortalScreenCapture::Opened> PortalScreenCapture::open(std::uint32_t displayID) {
    const bool isBeside = (abilities.cursorModes & pointerBeside) != 0;
    QString wantedName;
    bool isOneOfSeveral = false;
    for (const bool isFirst : {true, false}) {
        auto listing = displays();
        auto all = co_await listing;
        const auto isWanted = [displayID](const CastDisplay& d) { return d.shown.displayID == displayID; };
        const auto wanted = std::ranges::find_if(all, isWanted);
        if (wanted == all.end())
            throw captureError(5, QStringLiteral("The display is not there any more."), {Cause::displayGone});
        wantedName = nameOf(*wanted);
        isOneOfSeveral = wanted->isAmbiguous;
        const QString token = isFirst ? tokenFor(*wanted) : QString();
        if (token.isEmpty())
            Log::info(QStringLiteral("capture: asking the desktop for ") + wantedName);

        const auto session = std::make_shared<CastSession>(bus, [told = interruption] { told->handler(); });
        auto opening = session->open(isBeside ? pointerBeside : pointerInPicture, token);
        const Cast cast = co_await opening;
        const CastDisplay* shown = cast.streams.size() == 1 ? displayOf(cast.streams.front(), all) : nullptr;
        remember(wanted->key, shown, cast.restoreToken);
        if (shown && shown->key == wanted->key)
            co_return {session, cast.streams.front().node, isBeside};
        Log::error(QStringLiteral("capture: the desktop shares %1 in place of %2")
                       .arg(shown ? nameOf(*shown) : QStringLiteral("something else"), wantedName));
    }
    const QString again = isOneOfSeveral ? QStringLiteral("Start again and choose one display there.")
                                         : QStringLiteral("Start again and choose %1 there.").arg(wantedName);
    throw captureError(4, QStringLiteral("Another source was chosen in the desktop's dialog. ") + again);
}

// A token serves once: what the portal returns replaces it, also when that is nothing.
void PortalScreenCapture::remember(
    const QString& wanted, const CastDisplay* shown, const QString& token) const {
    const auto write = [this](const QString& key, const std::optional<QByteArray>& value) {
        if (!tokens.write(chosen, key, value))
            Log::error(QStringLiteral("portal: the choice of the display cannot be stored in ") +
                       Paths::toText(tokens.path));
    };
    if (!shown || shown->key != wanted || token.isEmpty())
        write(wanted, std::nullopt);
    if (!shown)
        return;
    if (!token.isEmpty())
        write(shown->key, token.toUtf8());
    tokens.write(shared, shown->key, QByteArray("yes"));
}

// Which of several alike a token stands for is not known.
QString PortalScreenCapture::tokenFor(const CastDisplay& display) const {
    if (display.isAmbiguous)
        return {};
    return QString::fromUtf8(tokens.read(chosen, display.key).value_or(QByteArray()));
}

std::unique_ptr<PortalScreen> makePortalScreen(
    AssetWriterFactory& writers, const std::filesystem::path& tokens) {
    return std::make_unique<PortalScreenCapture>(writers, tokens);
}

} // namespace tavro
