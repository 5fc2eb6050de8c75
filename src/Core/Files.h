#pragma once

#include <filesystem>

/// Any thread.
namespace tavro::Files {

/// The suffix of a file until it is complete and renamed into place.
inline constexpr auto unfinishedSuffix = ".finishing";

/// Removes the file if it exists. Ignores failures: a later access of the file reports them.
void remove(const std::filesystem::path& file);

} // namespace tavro::Files
