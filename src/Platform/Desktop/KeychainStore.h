#pragma once

#include "Core/Errors.h"
#include "Platform/Desktop/FileSecretStore.h"
#include "Platform/SecretStore.h"

#include <QObject>

namespace tavro {

/// Secrets in the desktop's keychain (Secret Service or KWallet), or, where there is none, in a file that
/// nobody but the user can read. The keychain is looked for at each call, and started where the bus knows how
/// to. What the file holds moves into it then. A locked keychain asks the user; what was asked for goes on
/// when they have unlocked it.
class KeychainStore final : public QObject, public SecretStore {
public:
    explicit KeychainStore(std::filesystem::path fallbackFile) : file{std::move(fallbackFile)} {}

    void read(const QString& service, const QString& account, Reader reader) override;
    void write(const QString& service, const QString& account, std::optional<QByteArray> value) override;
    void onNotStored(std::function<void(std::exception_ptr reason)> handler) override;

private:
    void findKeychain(const std::function<void(bool isThere)>& then);
    void readFromKeychain(const QString& service, const QString& account, const Reader& reader);
    void writeToKeychain(
        const QString& service, const QString& account, const std::optional<QByteArray>& value);

    void tellNotStored(const QString& account, const PlatformError& reason) const;

    const FileSecretStore file;
    std::function<void(std::exception_ptr)> notStored = [](const std::exception_ptr&) {};
    bool isWritten = false; ///< by this process: then what is read is no news
};

} // namespace tavro
