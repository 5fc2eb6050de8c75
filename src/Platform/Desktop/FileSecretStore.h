#pragma once

#include <QByteArray>
#include <QString>

#include <filesystem>
#include <optional>

namespace tavro {

/// Secrets in one file that nobody but the user can read, for desktops that have nothing better. The file is
/// replaced at each change, so it is never half written; it is gone when it would hold nothing. One thread.
struct FileSecretStore {
    const std::filesystem::path path; ///< its folder is made for the first secret and closed to others

    std::optional<QByteArray> read(const QString& service, const QString& account) const;
    /// Replaces the secret; no value removes it. False when the file could not be changed.
    bool write(const QString& service, const QString& account, const std::optional<QByteArray>& value) const;
};

} // namespace tavro
