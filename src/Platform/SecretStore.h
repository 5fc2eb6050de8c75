#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <optional>

namespace tavro {

/// Secrets of this user, one text in UTF-8 for each (service, account). Main thread. No call waits for the
/// desktop or the user.
class SecretStore {
public:
    using Reader = std::function<void(std::optional<QByteArray> value)>;

    virtual ~SecretStore() = default;
    /// Calls `reader` before it returns or later, not once the store is gone. No value: there is none, or it
    /// cannot be read.
    virtual void read(const QString& service, const QString& account, Reader reader) = 0;
    /// Replaces the secret; no value removes it. Of several writes the last one counts. A value that cannot
    /// be stored is logged.
    virtual void write(const QString& service, const QString& account, std::optional<QByteArray> value) = 0;
};

} // namespace tavro
