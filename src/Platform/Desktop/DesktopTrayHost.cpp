#include "Platform/Desktop/DesktopTrayHost.h"

#include "Platform/Desktop/DBusCall.h"
#include "Platform/Desktop/XEmbedTray.h"

#include <QDBusServiceWatcher>
#include <QTimer>

#include <chrono>

namespace tavro {
namespace {

const QString watcherName = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString watcherPath = QStringLiteral("/StatusNotifierWatcher");
const dbus::Peer properties{watcherName, watcherPath, QStringLiteral("org.freedesktop.DBus.Properties")};

const dbus::Peer settings{QStringLiteral("org.freedesktop.portal.Desktop"),
    QStringLiteral("/org/freedesktop/portal/desktop"), QStringLiteral("org.freedesktop.portal.Settings")};
const QString appearance = QStringLiteral("org.freedesktop.appearance");
const QString colorScheme = QStringLiteral("color-scheme");
constexpr std::chrono::milliseconds panelStart{1000}; // between the start of a panel's two tray kinds

enum ColorScheme : uint { noPreference, preferDark, preferLight };

} // namespace

class DesktopTrayHost::Watch final : public QObject {
    Q_OBJECT
public:
    explicit Watch(DesktopTrayHost& host) : owner(host) {
        connect(&watchers, &QDBusServiceWatcher::serviceRegistered, this, [this] { askForHost(panelStart); });
        connect(&watchers, &QDBusServiceWatcher::serviceUnregistered, this, [this] { notifierHost = false; });
        bus.connect(watcherName, watcherPath, watcherName, QStringLiteral("StatusNotifierHostRegistered"),
            this, SLOT(hostRegistered()));
        bus.connect(settings.service, settings.path, settings.interface, QStringLiteral("SettingChanged"),
            this, SLOT(settingChanged(QString, QString, QDBusVariant)));
        askForHost({});
        dbus::send(bus, settings.call(QStringLiteral("Read"), {appearance, colorScheme}), this,
            [this](const QDBusMessage& reply) { setScheme(dbus::value(reply)); });
    }

    bool prefersLightSymbols() const {
        if (const auto asked = xembed.wantsLightSymbols())
            return *asked;
        return scheme != preferLight; // most panels are dark, also with light windows
    }

public slots:
    void hostRegistered() {
        notifierHost = true;
        if (owner.onAppeared)
            owner.onAppeared();
    }
    void settingChanged(const QString& group, const QString& key, const QDBusVariant& value) {
        if (group == appearance && key == colorScheme)
            setScheme(value.variant());
    }

private:
    void askForHost(std::chrono::milliseconds grace) {
        const QVariantList which{watcherName, QStringLiteral("IsStatusNotifierHostRegistered")};
        dbus::send(bus, properties.callIfRunning(QStringLiteral("Get"), which), this,
            [this, grace](const QDBusMessage& reply) {
                if (dbus::succeeded(reply) && dbus::value(reply).toBool())
                    hostRegistered();
                else
                    xembedAppeared(grace);
            });
    }

    // Wait for a StatusNotifier host: it offers more, and the icon keeps its first kind of tray.
    void xembedAppeared(std::chrono::milliseconds grace) {
        QTimer::singleShot(grace, this, [this] {
            if (!notifierHost && xembed.isPresent() && owner.onAppeared)
                owner.onAppeared();
        });
    }

    void setScheme(const QVariant& value) {
        if (std::exchange(scheme, value.toUInt()) != value.toUInt() && owner.onAppearance)
            owner.onAppearance();
    }

    DesktopTrayHost& owner;
    QDBusConnection bus = QDBusConnection::sessionBus();
    QDBusServiceWatcher watchers{watcherName, bus,
        QDBusServiceWatcher::WatchForRegistration | QDBusServiceWatcher::WatchForUnregistration};
    XEmbedTray xembed{[this] { xembedAppeared(panelStart); }};
    bool notifierHost = false;
    uint scheme = noPreference;
};

DesktopTrayHost::DesktopTrayHost() : watch(std::make_unique<Watch>(*this)) {}

DesktopTrayHost::~DesktopTrayHost() = default;

bool DesktopTrayHost::prefersLightSymbols() const {
    return watch->prefersLightSymbols();
}

} // namespace tavro

#include "DesktopTrayHost.moc"
