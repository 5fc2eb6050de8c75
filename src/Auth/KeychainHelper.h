#pragma once

#include <QString>

#include <memory>
#include <optional>

namespace tavro {

class SecretStore;

/// The account under which the API token is kept. That a token is there means "signed in".
inline const QString apiTokenAccount = QStringLiteral("tavro-worker-auth-token");

/// This program's texts in the user's secret store, one for each account. Nothing throws. Any thread; like
/// the store itself it holds nobody up.
class KeychainHelper {
public:
    explicit KeychainHelper(std::shared_ptr<SecretStore> store);

    std::optional<QString> get(const QString& account) const;     ///< no value also when it cannot be read
    bool set(const QString& value, const QString& account) const; ///< true when it was written
    void remove(const QString& account) const;

    static const QString& service(); ///< the program's identifier, under which all its items are kept

private:
    std::shared_ptr<SecretStore> store;
};

} // namespace tavro
