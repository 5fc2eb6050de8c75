#pragma once

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>

struct _GCancellable;

namespace tavro {

/// What one secret is known by.
struct SecretKey {
    QString service;
    QString account;
    bool operator==(const SecretKey&) const = default;
};

/// The session's Secret Service, through libsecret. Between `attach` and `detach` the operations are called
/// on that one thread. Each waits there without any bound of its own (a service may be frozen, a user may
/// look for a password) until its cancellation is cancelled. Nothing throws: what fails has no result.
class SecretServiceConnection {
public:
    enum class Presence {
        there,
        absent, ///< no bus, or nothing on it that keeps secrets or could be started to
        unknown ///< cancelled, or the bus does not answer
    };
    enum class Locked { leave, askToUnlock };
    struct Lookup {
        std::optional<QByteArray> value;
        bool locked = false; ///< there is an item, but it cannot be read
    };
    using Cancellation = std::shared_ptr<_GCancellable>;

    SecretServiceConnection();
    ~SecretServiceConnection();
    SecretServiceConnection(const SecretServiceConnection&) = delete;
    SecretServiceConnection& operator=(const SecretServiceConnection&) = delete;

    static Cancellation makeCancellation();
    static void cancel(const Cancellation& cancellation); ///< any thread

    void attach();
    void detach();
    void waitForEvents(); ///< until `wake` was called, or something else has happened
    void wake();          ///< any thread

    /// Whether there is a service; starts it where the bus knows how to.
    Presence presence(const Cancellation& cancellation);
    /// Connects, so that the first operation is fast. False when there is no service to connect to.
    bool prepare(const Cancellation& cancellation);
    Lookup lookup(const SecretKey& key, Locked locked, const Cancellation& cancellation);
    /// Makes the item or replaces it. Asks the user to unlock where needed.
    bool store(const SecretKey& key, const QByteArray& value, const Cancellation& cancellation);
    /// True when there is no such item now. Asks the user to unlock where needed.
    bool clear(const SecretKey& key, const Cancellation& cancellation);

private:
    class Glib; // the libraries' objects
    const std::unique_ptr<Glib> glib;
};

} // namespace tavro
