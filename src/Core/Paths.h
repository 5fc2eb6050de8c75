#pragma once

#include <QString>

#include <filesystem>

/// Where this user's files belong, after the XDG base directories. Computed from the environment at
/// every call; nothing is created. Any thread.
namespace tavro::Paths {

std::filesystem::path config();             ///< $XDG_CONFIG_HOME, else ~/.config
std::filesystem::path library();            ///< $XDG_STATE_HOME, else ~/.local/state
std::filesystem::path applicationSupport(); ///< $XDG_DATA_HOME, else ~/.local/share
/// The user's own temporary folder, not wiped at boot: $TMPDIR when set, else $XDG_CACHE_HOME or ~/.cache.
std::filesystem::path temporary();

QString toText(const std::filesystem::path& path);
std::filesystem::path fromText(const QString& text);

} // namespace tavro::Paths
