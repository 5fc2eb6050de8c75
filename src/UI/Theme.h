#pragma once

#include <filesystem>
#include <vector>

/// The corner radius and typefaces of all windows. Colours: Palette.h; QML: QmlTheme.h. Main thread.
namespace tavro::Theme {

inline constexpr double rMd = 10; ///< corner radius of cards, points

/// The folder of the program's files, ../share/tavro from its executable. It may be missing.
std::filesystem::path resourceFolder();

/// Registers the typefaces "Fraunces", "Inter" and "JetBrains Mono". Later calls do nothing, even after a
/// failure. Needs the application object.
void registerFonts();

/// The folder's files with exactly the extension "ttf", by name. Empty when the folder cannot be listed.
std::vector<std::filesystem::path> fontFiles(const std::filesystem::path& fonts);

} // namespace tavro::Theme
