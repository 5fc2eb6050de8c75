#pragma once

#include <QString>

#include <functional>
#include <map>
#include <memory>
#include <optional>

namespace tavro {

class SecretStore;

/// The account under which the API token is kept. That a token is there means "signed in".
inline const QString apiTokenAccount = QStringLiteral("tavro-worker-auth-token");

/// This program's texts in the user's secret store, one for each account. A text is read once and then held
/// in memory: `get` answers from there, changes count at once and are written behind the caller's back.
/// Copies share what they hold. Nothing throws or waits. Main thread.
class KeychainHelper {
public:
    explicit KeychainHelper(std::shared_ptr<SecretStore> store);

    /// Reads the text of `account`; a change made before the answer comes wins over it. `onAnswer` is called
    /// before this returns or later, unless all copies of this object are gone by then.
    void load(const QString& account, const std::function<void()>& onAnswer) const;

    std::optional<QString> get(const QString& account) const; ///< no value also before it has been read
    void set(const QString& value, const QString& account) const;
    void remove(const QString& account) const;

    static inline const QString service = QStringLiteral("com.quembridge.tavro"); ///< of all items

private:
    using Texts = std::map<QString, std::optional<QString>>; // of the accounts that were read or changed

    std::shared_ptr<SecretStore> store;
    std::shared_ptr<Texts> texts = std::make_shared<Texts>();
};

} // namespace tavro
