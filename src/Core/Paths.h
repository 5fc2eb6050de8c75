#pragma once

#include <QString>

#include <filesystem>

/// The user's XDG base directories. Reads the environment at every call, creates nothing. Any thread.
namespace tavro::Paths {

std::filesystem::path config();             ///< $XDG_CONFIG_HOME, else ~/.config
std::filesystem::path library();            ///< $XDG_STATE_HOME, else ~/.local/state
std::filesystem::path applicationSupport(); ///< $XDG_DATA_HOME, else ~/.local/share
/// The user's temporary folder, not cleared at boot: $TMPDIR, else $XDG_CACHE_HOME, else ~/.cache.
std::filesystem::path temporary();

QString toText(const std::filesystem::path& path);
std::filesystem::path fromText(const QString& text);

} // namespace tavro::Paths
