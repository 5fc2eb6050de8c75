#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

/// The keyring of the test's private desktop, and its other clients.
namespace tavro::test::keyring {

inline const QString service = QStringLiteral("com.quembridge.tavro");
inline const QString account = QStringLiteral("tavro-worker-auth-token");

/// Calls a session bus method through another program; returns the printed answer.
QByteArray callBus(const QString& destination, const QString& path, const QString& method,
    const QStringList& arguments = {});

/// The token's keyring attributes, now and in version 0.1.
inline const QStringList attributesNow{QStringLiteral("user"), account, QStringLiteral("server"), service,
    QStringLiteral("type"), QStringLiteral("plaintext"), QStringLiteral("xdg:schema"),
    QStringLiteral("org.qt.keychain")};
inline const QStringList attributesOf01{
    QStringLiteral("service"), service, QStringLiteral("account"), account};

/// Reads and stores the token as another program does.
std::optional<QByteArray> lookedUp(const QStringList& attributes = attributesNow);
bool store(const QByteArray& value, const QStringList& attributes = attributesNow);

void stop();  ///< like a crash
void start(); ///< unlocked, like after a login
void lock();
void remove(); ///< with all its secrets; there is no other keyring
void signal(int number);

} // namespace tavro::test::keyring
