#pragma once

#include "Platform/SecretStore.h"

#include <filesystem>
#include <mutex>

namespace tavro {

/// Secrets in one file that nobody but the user can read, for desktops that have nothing better. The file is
/// replaced at each change, so it is never half written; it is gone when it would hold nothing. Any thread.
class FileSecretStore final : public SecretStore {
public:
    /// The file's folder is made when the first secret is, and is closed to others.
    explicit FileSecretStore(std::filesystem::path file);

    std::optional<QByteArray> read(const QString& service, const QString& account) override;
    bool add(const QString& service, const QString& account, const QByteArray& value) override; ///< replaces
    bool remove(
        const QString& service, const QString& account) override; ///< false when it could not be removed
    /// Removes the secret only if it still has this value.
    bool removeIf(const QString& service, const QString& account, const QByteArray& value);

private:
    const std::filesystem::path file;
    std::mutex mutex;
};

} // namespace tavro
