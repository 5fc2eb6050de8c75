#include "Auth/KeychainHelper.h"

#include "Platform/SecretStore.h"

#include <utility>

namespace tavro {

KeychainHelper::KeychainHelper(std::shared_ptr<SecretStore> secrets) : store(std::move(secrets)) {}

void KeychainHelper::load(const QString& account, const std::function<void()>& onAnswer) const {
    store->read(service, account, [held = std::weak_ptr(texts), account, onAnswer](const auto& bytes) {
        const QString text = QString::fromUtf8(bytes.value_or(QByteArray()));
        const bool isText = bytes && text.toUtf8() == *bytes; // not so where they are no UTF-8
        if (const auto here = held.lock()) {
            here->try_emplace(account, isText ? std::optional(text) : std::nullopt);
            onAnswer();
        }
    });
}

std::optional<QString> KeychainHelper::get(const QString& account) const {
    const auto text = texts->find(account);
    return text == texts->end() ? std::nullopt : text->second;
}

void KeychainHelper::set(const QString& value, const QString& account) const {
    (*texts)[account] = value;
    store->write(service, account, value.toUtf8());
}

void KeychainHelper::remove(const QString& account) const {
    (*texts)[account] = std::nullopt;
    store->write(service, account, std::nullopt);
}

} // namespace tavro
