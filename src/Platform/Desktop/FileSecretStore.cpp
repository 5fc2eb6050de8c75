#include "Platform/Desktop/FileSecretStore.h"

#include "Core/Paths.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <utility>

namespace tavro {

namespace {

namespace fs = std::filesystem;

// The file is a JSON object of objects: service, account, value in Base64.
QJsonObject load(const fs::path& path) {
    QFile file(Paths::toText(path));
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject();
}

bool makePrivateFolder(const fs::path& folder) {
    std::error_code error;
    fs::create_directories(folder, error);
    if (!error)
        fs::permissions(folder, fs::perms::owner_all, error);
    return !error;
}

bool save(const fs::path& path, const QJsonObject& content) {
    if (content.isEmpty()) {
        std::error_code error;
        fs::remove(path, error);
        return !error;
    }
    if (!makePrivateFolder(path.parent_path()))
        return false;
    QSaveFile file(Paths::toText(path));
    const QByteArray bytes = QJsonDocument(content).toJson(QJsonDocument::Compact);
    // The permissions come first: at no time can anybody else open a file that holds, or will hold, a secret.
    return file.open(QIODevice::WriteOnly) && file.setPermissions(QFile::ReadOwner | QFile::WriteOwner) &&
           file.write(bytes) == bytes.size() && file.commit();
}

std::optional<QByteArray> find(const QJsonObject& content, const QString& service, const QString& account) {
    const QJsonValue value = content.value(service).toObject().value(account);
    if (!value.isString())
        return std::nullopt;
    return QByteArray::fromBase64(value.toString().toLatin1());
}

bool removeFrom(const fs::path& path, QJsonObject content, const QString& service, const QString& account) {
    QJsonObject accounts = content.value(service).toObject();
    if (!accounts.contains(account))
        return true;
    accounts.remove(account);
    if (accounts.isEmpty())
        content.remove(service);
    else
        content.insert(service, accounts);
    return save(path, content);
}

} // namespace

FileSecretStore::FileSecretStore(fs::path path) : file(std::move(path)) {}

std::optional<QByteArray> FileSecretStore::read(const QString& service, const QString& account) {
    const std::lock_guard lock(mutex);
    return find(load(file), service, account);
}

bool FileSecretStore::add(const QString& service, const QString& account, const QByteArray& value) {
    const std::lock_guard lock(mutex);
    QJsonObject content = load(file);
    QJsonObject accounts = content.value(service).toObject();
    accounts.insert(account, QString::fromLatin1(value.toBase64()));
    content.insert(service, accounts);
    return save(file, content);
}

bool FileSecretStore::remove(const QString& service, const QString& account) {
    const std::lock_guard lock(mutex);
    return removeFrom(file, load(file), service, account);
}

bool FileSecretStore::removeIf(const QString& service, const QString& account, const QByteArray& value) {
    const std::lock_guard lock(mutex);
    const QJsonObject content = load(file);
    return find(content, service, account) == value && removeFrom(file, content, service, account);
}

} // namespace tavro
