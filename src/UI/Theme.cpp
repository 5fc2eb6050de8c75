#include "UI/Theme.h"

#include "Core/Paths.h"

#include <QCoreApplication>
#include <QFontDatabase>

#include <algorithm>
#include <system_error>

namespace tavro::Theme {

const QColor& sage() {
    static const QColor color = QColor::fromRgbF(0.486f, 0.545f, 0.353f);
    return color;
}

const QColor& clay() {
    static const QColor color = QColor::fromRgbF(0.776f, 0.42f, 0.278f);
    return color;
}

const QColor& sand() {
    static const QColor color = QColor::fromRgbF(0.914f, 0.875f, 0.788f);
    return color;
}

const QColor& paper() {
    static const QColor color = QColor::fromRgbF(0.984f, 0.973f, 0.945f);
    return color;
}

const QColor& bark() {
    static const QColor color = QColor::fromRgbF(0.106f, 0.094f, 0.078f);
    return color;
}

const QColor& card() {
    static const QColor color = QColor::fromRgbF(0.141f, 0.122f, 0.102f);
    return color;
}

const QColor& border() {
    static const QColor color = QColor::fromRgbF(0.243f, 0.22f, 0.2f);
    return color;
}

const QColor& muted() {
    static const QColor color = QColor::fromRgbF(0.431f, 0.396f, 0.361f);
    return color;
}

const QColor& record() {
    static const QColor color = QColor::fromRgbF(0.839f, 0.278f, 0.231f);
    return color;
}

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
