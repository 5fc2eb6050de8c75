#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <filesystem>
#include <optional>

namespace tavro {

/// Secrets in one file readable only by the user, for desktops without a better store. Each change replaces
/// the file atomically; an empty store removes it. One thread.
struct FileSecretStore {
    const std::filesystem::path path; ///< its folder is created for the first secret, closed to other users

    std::optional<QByteArray> read(const QString& service, const QString& account) const;
    QStringList accounts(const QString& service) const;
    /// No value removes the secret. False when the file cannot be changed.
    bool write(const QString& service, const QString& account, const std::optional<QByteArray>& value) const;
};

} // namespace tavro
