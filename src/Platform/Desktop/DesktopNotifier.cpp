#include "Platform/Desktop/DesktopNotifier.h"

#include "Core/Log.h"
#include "Platform/Desktop/DBusCall.h"

#include <algorithm>
#include <map>
#include <vector>

namespace tavro {
namespace {

const dbus::Peer notifications{QStringLiteral("org.freedesktop.Notifications"),
    QStringLiteral("/org/freedesktop/Notifications"), QStringLiteral("org.freedesktop.Notifications")};

const QString clicked = QStringLiteral("default"); // action key of a click on the notification itself

enum Urgency : uchar { normal = 1, critical = 2 };

} // namespace

class DesktopNotifier::Service final : public QObject {
    Q_OBJECT
public:
    Service() {
        const auto listen = [this](const QString& signal, const char* slot) {
            bus.connect(
                notifications.service, notifications.path, notifications.interface, signal, this, slot);
        };
        listen(QStringLiteral("ActionInvoked"), SLOT(invoked(uint, QString)));
        listen(QStringLiteral("NotificationClosed"), SLOT(closed(uint, uint)));
    }

    void show(Notification notification) {
        if (knowsMarkup)
            return send(std::move(notification));
        waiting.push_back(std::move(notification));
        if (waiting.size() == 1)
            askCapabilities();
    }

public slots:
    void invoked(uint id, const QString& key) {
        const auto found = actions.find(id);
        if (found == actions.end())
            return;
        const auto chosen = std::ranges::find_if(
            found->second, [&](const Action& action) { return key == clicked || key == action.label; });
        if (chosen == found->second.end())
            return;
        const auto run = std::move(chosen->run);
        actions.erase(found);
        run();
    }
    void closed(uint id, uint) { actions.erase(id); }

private:
    // Some services show the body as plain text, others parse markup.
    void askCapabilities() {
        dbus::send(bus, notifications.call(QStringLiteral("GetCapabilities")), this,
            [this](const QDBusMessage& reply) {
                if (dbus::succeeded(reply))
                    knowsMarkup = dbus::value(reply).toStringList().contains(QStringLiteral("body-markup"));
                for (auto& notification : std::exchange(waiting, {}))
                    send(std::move(notification));
            });
    }

    void send(Notification notification) {
        QStringList keys;
        if (!notification.actions.empty())
            keys << clicked << notification.actions.front().label;
        for (const Action& action : notification.actions)
            keys << action.label << action.label; // the label serves as the key
        const QVariantMap hints{
            {QStringLiteral("desktop-entry"), QStringLiteral("com.quembridge.tavro")},
            {QStringLiteral("urgency"), QVariant::fromValue<uchar>(notification.failure ? critical : normal)},
        };
        const QString body =
            knowsMarkup.value_or(false) ? notification.body.toHtmlEscaped() : notification.body;
        const QVariantList arguments{QStringLiteral("Tavro"), 0U, QStringLiteral("com.quembridge.tavro"),
            notification.summary, body, keys, hints, -1};
        dbus::send(bus, notifications.call(QStringLiteral("Notify"), arguments), this,
            [this, notification = std::move(notification)](
                const QDBusMessage& reply) { sent(notification, reply); });
    }

    void sent(const Notification& notification, const QDBusMessage& reply) {
        if (!dbus::succeeded(reply)) {
            knowsMarkup.reset(); // the next service may differ
            Log::info(QStringLiteral("notification not shown (%1): %2 — %3")
                          .arg(reply.errorMessage(), notification.summary, notification.body));
        } else if (!notification.actions.empty()) {
            actions[dbus::value(reply).toUInt()] = notification.actions;
        }
    }

    QDBusConnection bus = QDBusConnection::sessionBus();
    std::optional<bool> knowsMarkup;
    std::vector<Notification> waiting;
    std::map<uint, std::vector<Action>> actions;
};

DesktopNotifier::DesktopNotifier() : service(std::make_unique<Service>()) {}

DesktopNotifier::~DesktopNotifier() = default;

void DesktopNotifier::show(Notification notification) {
    service->show(std::move(notification));
}

} // namespace tavro

#include "DesktopNotifier.moc"
