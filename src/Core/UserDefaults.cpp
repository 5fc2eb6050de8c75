#include "Core/UserDefaults.h"

#include "Core/Paths.h"

#include <QSettings>
#include <QStringList>

#include <utility>

namespace tavro {

namespace {

QSettings open(const std::filesystem::path& file) {
    return QSettings(Paths::toText(file), QSettings::IniFormat);
}

} // namespace

UserDefaults UserDefaults::standard() {
    return UserDefaults(Paths::config() / "tavro" / "defaults.conf");
}

UserDefaults::UserDefaults(std::filesystem::path path) : file(std::move(path)) {}

std::optional<QString> UserDefaults::string(const QString& key) const {
    const QVariant value = open(file).value(key);
    if (!value.isValid())
        return std::nullopt;
    // The INI reader turns an unquoted comma into a list, e.g. in an address; the value is one text.
    return value.typeId() == QMetaType::QStringList ? value.toStringList().join(QLatin1Char(','))
                                                    : value.toString();
}

bool UserDefaults::boolean(const QString& key) const {
    const QString value = string(key).value_or(QString()).trimmed().toLower();
    return value == u"true" || value == u"yes" || value == u"1";
}

void UserDefaults::set(const QString& key, const QString& value) const {
    open(file).setValue(key, value);
}

void UserDefaults::remove(const QString& key) const {
    open(file).remove(key);
}

} // namespace tavro
