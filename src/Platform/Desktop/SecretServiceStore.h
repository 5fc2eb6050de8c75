#pragma once

#include "Platform/SecretStore.h"

#include <filesystem>
#include <functional>
#include <memory>

namespace tavro {

/// Secrets in the desktop's Secret Service, or, where there is none, in a file that nobody but the user can
/// read.
///
/// The service is spoken to on a thread of its own, one request after the other. A caller waits for at most
/// 100 ms; a request that takes longer goes on by itself:
/// - a read of a locked secret has no value; the user is asked once to unlock, after which reads have it;
/// - a change that could not be made in time reports false and is still made as soon as the service, or the
///   user, lets it; of several changes of one secret the newest is the last to be made, or the only one.
///
/// The service is looked for (and started) at construction and again at each request, so it may come late:
/// until then the file serves, and what it holds moves into the service. Make one early and keep it: the
/// sooner it is there, the likelier even a slow service has its answers ready.
class SecretServiceStore final : public SecretStore {
public:
    explicit SecretServiceStore(std::filesystem::path fallbackFile = defaultFallbackFile());
    ~SecretServiceStore() override; ///< abandons what the service has not done yet

    static std::filesystem::path defaultFallbackFile(); ///< $XDG_DATA_HOME/tavro/secrets.json

    /// `handler` is called, on the store's own thread, when a value was found or added for which nobody
    /// waited any more; a read has it then.
    void setLateHandler(std::function<void()> handler);

    std::optional<QByteArray> read(const QString& service, const QString& account) override;
    bool add(const QString& service, const QString& account, const QByteArray& value) override; ///< replaces
    bool remove(const QString& service, const QString& account) override;

private:
    class Worker;
    const std::unique_ptr<Worker> worker;
};

} // namespace tavro
