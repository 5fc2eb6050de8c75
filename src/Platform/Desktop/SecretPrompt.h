#pragma once

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QObject>

#include <optional>

namespace tavro {

/// A question of the Secret Service to the user. The answer comes with the events of the thread that asked.
class SecretPrompt final : public QObject {
    Q_OBJECT

public:
    SecretPrompt(QDBusConnection connection, const QString& service, const QString& path);
    ~SecretPrompt() override;

    bool isOver() const { return over; }
    /// What the answer has led to; nothing when the user refused, or the service has ended.
    const std::optional<QVariant>& result() const { return value; }

public slots:
    void complete(bool dismissed, const QDBusVariant& outcome);

private:
    QDBusConnection bus;
    QDBusServiceWatcher watcher;
    const QString owner;
    const QString object;
    bool over = false;
    std::optional<QVariant> value;
};

} // namespace tavro
