#include "Core/Paths.h"

#include <QDir>
#include <QFile>

namespace tavro::Paths {

namespace {

// The base directory rules treat a relative value as unset.
std::filesystem::path folder(const char* variable, const char* belowHome) {
    const QString value = QFile::decodeName(qgetenv(variable));
    if (QDir::isAbsolutePath(value))
        return fromText(value);
    return fromText(QDir::homePath()) / belowHome;
}

} // namespace

std::filesystem::path config() {
    return folder("XDG_CONFIG_HOME", ".config");
}

std::filesystem::path library() {
    return folder("XDG_STATE_HOME", ".local/state");
}

std::filesystem::path applicationSupport() {
    return folder("XDG_DATA_HOME", ".local/share");
}

std::filesystem::path temporary() {
    const QString tmp = QFile::decodeName(qgetenv("TMPDIR"));
    return QDir::isAbsolutePath(tmp) ? fromText(tmp) : folder("XDG_CACHE_HOME", ".cache");
}

QString toText(const std::filesystem::path& path) {
    return QFile::decodeName(path.c_str());
}

std::filesystem::path fromText(const QString& text) {
    return QFile::encodeName(text).toStdString();
}

} // namespace tavro::Paths
