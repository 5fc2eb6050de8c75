#pragma once

#include <QAbstractNativeEventFilter>

#include <functional>
#include <optional>

struct xcb_connection_t;

namespace tavro {

/// The classic system tray of an X11 display: whoever owns its selection. Silent on other displays.
class XEmbedTray final : public QAbstractNativeEventFilter {
public:
    explicit XEmbedTray(std::function<void()> appeared);
    ~XEmbedTray() override;

    bool isPresent() const;
    /// Whether the tray asks for light symbols; nothing when it does not say.
    std::optional<bool> wantsLightSymbols() const;

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;

private:
    std::uint32_t owner() const;

    const std::function<void()> appeared;
    xcb_connection_t* const connection; // Qt's; null on other displays
    std::uint32_t selection = 0, manager = 0, colors = 0;
};

} // namespace tavro
