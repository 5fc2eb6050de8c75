#pragma once

#include <QAbstractNativeEventFilter>

#include <functional>
#include <optional>

struct xcb_connection_t;

namespace tavro {

/// The owner of an X11 display's system tray selection. Does nothing on other displays.
class XEmbedTray final : public QAbstractNativeEventFilter {
public:
    explicit XEmbedTray(std::function<void()> appeared);
    ~XEmbedTray() override;

    bool isPresent() const;
    /// True when the tray's colours need light symbols; empty without that property.
    std::optional<bool> wantsLightSymbols() const;

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;

private:
    std::uint32_t owner() const;

    const std::function<void()> appeared;
    xcb_connection_t* const connection; // Qt's; null on other displays
    std::uint32_t selection = 0, manager = 0, colors = 0;
};

} // namespace tavro
