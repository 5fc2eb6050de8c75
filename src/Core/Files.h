#pragma once

#include <filesystem>

/// Any thread.
namespace tavro::Files {

/// What is put in a file's place once it is whole has until then this after its name.
inline constexpr auto unfinishedSuffix = ".finishing";

/// Removes a file where there is one. That it can't be removed is no reason to stop: whoever writes in its
/// place, or reads the folder later, sees for itself.
void remove(const std::filesystem::path& file);

} // namespace tavro::Files
