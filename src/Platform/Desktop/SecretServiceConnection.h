#pragma once

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>

namespace tavro {

/// What one secret is known by.
struct SecretKey {
    QString service;
    QString account;
    bool operator==(const SecretKey&) const = default;
};

/// The session's Secret Service, through D-Bus. Between `attach` and `detach` the operations are called
/// on that one thread. Each waits there until it is done, without a bound of its own (a service may be
/// frozen, a user may look for a password), or until `abandon` is called; then it throws Abandoned. Nothing
/// that has begun is cancelled: gnome-keyring does not survive that its question for a password is taken
/// back. What fails otherwise has no result and throws nothing.
class SecretServiceConnection {
public:
    struct Abandoned {};
    enum class Presence {
        there,
        absent, ///< no bus, or nothing on it that keeps secrets or could be started to
        unknown ///< the bus does not answer
    };
    enum class Locked { leave, askToUnlock };
    struct Lookup {
        std::optional<QByteArray> value;
        bool locked = false; ///< there is an item, but it cannot be read
    };
    enum class Change {
        made,
        failed,
        locked ///< the service, or the user, did not unlock
    };

    SecretServiceConnection();
    ~SecretServiceConnection();
    SecretServiceConnection(const SecretServiceConnection&) = delete;
    SecretServiceConnection& operator=(const SecretServiceConnection&) = delete;

    void attach();
    void detach();
    void waitForEvents(); ///< until `wake` was called, or something else has happened
    void wake();          ///< any thread
    void abandon();       ///< any thread, for good

    /// Whether there is a service; starts it where the bus knows how to. What follows is asked of the one
    /// found.
    Presence presence();
    /// Connects, so that the first operation is fast. False when there is no service to connect to.
    bool prepare();
    Lookup lookup(const SecretKey& key, Locked locked);
    Change store(
        const SecretKey& key, const QByteArray& value, Locked locked); ///< makes or replaces the item
    Change clear(const SecretKey& key, Locked locked);                 ///< made: there is no such item now

private:
    class Bus;
    const std::unique_ptr<Bus> bus;
};

} // namespace tavro
