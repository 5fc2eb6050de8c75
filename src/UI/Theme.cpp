#include "UI/Theme.h"

#include "Core/Paths.h"

#include <QCoreApplication>
#include <QFontDatabase>

#include <algorithm>
#include <system_error>

namespace tavro::Theme {

std::filesystem::path resourceFolder() {
    return Paths::fromText(QCoreApplication::applicationDirPath()).parent_path() / "share" / "tavro";
}

std::vector<std::filesystem::path> fontFiles(const std::filesystem::path& fonts) {
    std::vector<std::filesystem::path> files;
    std::error_code error;
    for (auto entry = std::filesystem::directory_iterator(fonts, error); !error && entry != end(entry);
         entry.increment(error)) {
        if (entry->path().extension() == ".ttf")
            files.push_back(entry->path());
    }
    std::ranges::sort(files);
    return files;
}

void registerFonts() {
    static bool fontsRegistered = false;
    if (fontsRegistered)
        return;
    fontsRegistered = true; // before trying: a failed attempt is not repeated
    for (const auto& file : fontFiles(resourceFolder() / "Fonts"))
        QFontDatabase::addApplicationFont(Paths::toText(file));
}

} // namespace tavro::Theme
