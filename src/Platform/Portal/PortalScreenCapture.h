#pragma once

#include "Platform/Desktop/FileSecretStore.h"
#include "Platform/Portal/CastDisplays.h"
#include "Platform/Portal/PortalScreen.h"
#include "Platform/Screen/CaptureStream.h"

#include <QDBusConnection>

#include <filesystem>
#include <functional>
#include <memory>

namespace tavro {

/// `makeStream` needs a list of displays before it.
class PortalScreenCapture final : public PortalScreen {
public:
    /// Called on a thread of its own. Throws PlatformError.
    using ListOutputs = std::function<std::vector<WaylandOutput>()>;

    PortalScreenCapture(
        AssetWriterFactory& writers, const std::filesystem::path& tokens,
        QDBusConnection bus = QDBusConnection::sessionBus(),
        ListOutputs outputs = [] { return listOutputs(); });

    QCoro::Task<ShareableContent> shareableContent() override;
    std::unique_ptr<ScreenStream> makeStream(
        const ContentFilter& filter, const StreamConfiguration& configuration) override;
    std::shared_ptr<RecordingOutput> makeRecordingOutput(const std::filesystem::path& file) override;
    void onInterruption(std::function<void()> handler) override;

    QString obstacle() const override;
    QCoro::Task<> refresh() override;
    QCoro::Task<> ask() override;

private:
    static constexpr unsigned firstWithTokens = 4; // version of the ScreenCast interface

    struct Interruption;
    struct Opened {
        std::shared_ptr<portal::CastSession> session;
        unsigned node = 0;
        bool pointerIsBeside = false;
    };
    QCoro::Task<std::vector<portal::CastDisplay>> displays() const;
    QCoro::Task<CaptureStream::Prepared> prepare(ContentFilter filter, StreamConfiguration configuration);
    QCoro::Task<Opened> open(std::uint32_t displayID);
    void remember(const QString& wanted, const portal::CastDisplay* shown, const QString& token) const;
    QString tokenFor(const portal::CastDisplay& display) const;

    AssetWriterFactory& writers;
    const FileSecretStore tokens;
    const QDBusConnection bus;
    const ListOutputs outputs;
    const std::shared_ptr<Interruption> interruption;
    bool hasTokens() const;

    // By the portal's last answer, which each list of displays renews.
    QString missing; // why there is no portal; empty while there is one
    portal::CastAbilities abilities{.version = firstWithTokens};
};

} // namespace tavro
