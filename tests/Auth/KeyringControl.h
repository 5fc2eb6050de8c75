#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

/// The keyring of the private desktop that a test runs in, and its other clients.
namespace tavro::test::keyring {

inline const QString service = QStringLiteral("com.quembridge.tavro");
inline const QString account = QStringLiteral("tavro-worker-auth-token");

/// Calls a method of the session bus by another program; what that prints of the answer.
QByteArray callBus(const QString& destination, const QString& path, const QString& method,
    const QStringList& arguments = {});

/// By which the keyring knows the token, and by which version 0.1 did.
inline const QStringList attributesNow{QStringLiteral("user"), account, QStringLiteral("server"), service,
    QStringLiteral("type"), QStringLiteral("plaintext"), QStringLiteral("xdg:schema"),
    QStringLiteral("org.qt.keychain")};
inline const QStringList attributesOf01{
    QStringLiteral("service"), service, QStringLiteral("account"), account};

/// The token as another program finds and stores it.
std::optional<QByteArray> lookedUp(const QStringList& attributes = attributesNow);
bool store(const QByteArray& value, const QStringList& attributes = attributesNow);

void stop();  ///< as a crash would
void start(); ///< unlocked, as after a login
void lock();
void remove(); ///< with all that it keeps; there is no other
void signal(int number);

} // namespace tavro::test::keyring
