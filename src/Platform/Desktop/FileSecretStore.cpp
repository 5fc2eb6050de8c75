#include "Platform/Desktop/FileSecretStore.h"

#include "Core/Paths.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace tavro {

// The file is a JSON object of objects: service, account, value in Base64.
static QJsonObject load(const std::filesystem::path& path) {
    QFile file(Paths::toText(path));
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject();
}

std::optional<QByteArray> FileSecretStore::read(const QString& service, const QString& account) const {
    const QJsonValue value = load(path).value(service).toObject().value(account);
    return value.isString() ? std::optional(QByteArray::fromBase64(value.toString().toLatin1()))
                            : std::nullopt;
}

QStringList FileSecretStore::accounts(const QString& service) const {
    return load(path).value(service).toObject().keys();
}

bool FileSecretStore::write(
    const QString& service, const QString& account, const std::optional<QByteArray>& value) const {
    const QJsonValue none = QJsonValue::Undefined; // `insert` removes the key then
    QJsonObject content = load(path), accounts = content.value(service).toObject();
    accounts.insert(account, value ? QString::fromLatin1(value->toBase64()) : none);
    content.insert(service, accounts.isEmpty() ? none : accounts);
    std::error_code error;
    if (content.isEmpty()) {
        std::filesystem::remove(path, error);
        return !error;
    }
    std::filesystem::create_directories(path.parent_path(), error);
    if (!error)
        std::filesystem::permissions(path.parent_path(), std::filesystem::perms::owner_all, error);
    QSaveFile file(Paths::toText(path));
    const QByteArray bytes = QJsonDocument(content).toJson(QJsonDocument::Compact);
    // Set permissions first, so that other users can never open the file.
    return !error && file.open(QIODevice::WriteOnly) &&
           file.setPermissions(QFile::ReadOwner | QFile::WriteOwner) && file.write(bytes) == bytes.size() &&
           file.commit();
}

} // namespace tavro
