#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

/// The keyring of the private desktop that a test runs in, and its other clients.
namespace tavro::test::keyring {

inline const QString service = QStringLiteral("com.quembridge.tavro");
inline const QString account = QStringLiteral("tavro-worker-auth-token");

/// Runs a program to its end and returns what it printed; no value when it failed.
std::optional<QByteArray> outputOf(
    const QString& program, const QStringList& arguments, const QByteArray& input = {});

/// The token as another program finds it.
std::optional<QByteArray> lookedUp();

void stop();  ///< as a crash would
void start(); ///< unlocked, as after a login
void lock();
void remove(); ///< with all that it keeps; there is no other
void signal(int number);

} // namespace tavro::test::keyring
