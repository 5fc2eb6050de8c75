#pragma once

#include <QString>

#include <filesystem>
#include <optional>

namespace tavro {

/// The user's settings: an INI file with one key a line in the group [General]. Every access reads the file,
/// so outside changes apply at once. Any thread.
class UserDefaults {
public:
    /// The application's own store, $XDG_CONFIG_HOME/tavro/defaults.conf.
    static UserDefaults standard();
    explicit UserDefaults(std::filesystem::path file);

    std::optional<QString> string(const QString& key) const;
    bool boolean(const QString& key) const; ///< false when absent
    void set(const QString& key, const QString& value) const;
    void remove(const QString& key) const;

private:
    std::filesystem::path file;
};

} // namespace tavro
