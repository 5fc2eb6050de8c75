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

/// The token as another program finds it.
std::optional<QByteArray> lookedUp();

void stop();  ///< as a crash would
void start(); ///< unlocked, as after a login
void lock();
void remove(); ///< with all that it keeps; there is no other
void signal(int number);

} // namespace tavro::test::keyring
