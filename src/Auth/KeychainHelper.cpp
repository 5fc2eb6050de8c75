#include "Auth/KeychainHelper.h"

#include "Platform/SecretStore.h"

#include <QStringDecoder>

#include <utility>

namespace tavro {

KeychainHelper::KeychainHelper(std::shared_ptr<SecretStore> secrets) : store(std::move(secrets)) {}

std::optional<QString> KeychainHelper::get(const QString& account) const {
    const auto bytes = store->read(service(), account);
    if (!bytes)
        return std::nullopt;
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString value = utf8(*bytes);
    return utf8.hasError() ? std::nullopt
                           : std::optional(value.isNull() ? QStringLiteral("") : std::move(value));
}

bool KeychainHelper::set(const QString& value, const QString& account) const {
    store->remove(service(), account);
    return store->add(service(), account, value.toUtf8());
}

void KeychainHelper::remove(const QString& account) const {
    store->remove(service(), account);
}

const QString& KeychainHelper::service() {
    static const QString identifier = QStringLiteral("com.quembridge.tavro");
    return identifier;
}

} // namespace tavro
