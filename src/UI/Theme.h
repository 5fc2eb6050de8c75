#pragma once

#include <filesystem>
#include <vector>

/// What all windows look alike by, beside the colours (see Palette.h): a corner radius and three typefaces.
/// Main thread. Views written in QML see the same as `Theme`, see QmlTheme.h.
namespace tavro::Theme {

inline constexpr double rMd = 10; ///< corner radius of cards, points

/// The folder of files that belong to the program, found from its executable: ../share/tavro, both in the
/// build folder and where the program is installed. Need not exist.
std::filesystem::path resourceFolder();

/// Makes the program's typefaces available by family name ("Fraunces", "Inter", "JetBrains Mono"), once a
/// process and also when it fails: later calls do nothing. Needs the application object.
void registerFonts();

/// The files of the folder `fonts` that are taken for fonts: those whose extension is exactly "ttf", by name.
/// None when it cannot be listed.
std::vector<std::filesystem::path> fontFiles(const std::filesystem::path& fonts);

} // namespace tavro::Theme
