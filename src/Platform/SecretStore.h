#pragma once

#include <QByteArray>
#include <QString>

#include <exception>
#include <functional>
#include <optional>

namespace tavro {

/// Secrets of this user: one UTF-8 text for each (service, account). Main thread. No call blocks.
class SecretStore {
public:
    using Reader = std::function<void(std::optional<QByteArray> value)>;

    virtual ~SecretStore() = default;
    /// Calls `reader` now or later, but not after the store is destroyed. No value: missing or unreadable.
    virtual void read(const QString& service, const QString& account, Reader reader) = 0;
    /// Replaces the secret; no value removes it. The last of several writes wins. Failures are logged, and
    /// told to the handler below.
    virtual void write(const QString& service, const QString& account, std::optional<QByteArray> value) = 0;
    /// Sets the one handler, called when a secret could not be stored.
    virtual void onNotStored(std::function<void(std::exception_ptr reason)> handler) = 0;
};

} // namespace tavro
