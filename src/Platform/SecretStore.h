#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace tavro {

/// Secrets of this user, one value for each (service, account). Any thread. No call blocks for longer than
/// 100 ms, whatever state the desktop's secret service is in.
class SecretStore {
public:
    virtual ~SecretStore() = default;
    virtual std::optional<QByteArray> read(const QString& service, const QString& account) = 0;
    virtual bool add(const QString& service, const QString& account, const QByteArray& value) = 0;
    virtual bool remove(const QString& service, const QString& account) = 0;
};

} // namespace tavro
