#pragma once

#include "Platform/SecretStore.h"

#include <map>
#include <utility>

namespace tavro {

/// Secrets in memory. Reads can be delayed, and writes can fail. One thread.
class FakeSecretStore final : public SecretStore {
public:
    bool answersLate = false; ///< reads wait for `answer`
    bool failsToWrite = false;

    std::map<std::pair<QString, QString>, QByteArray> items; ///< by service and account

    void read(const QString& service, const QString& account, Reader reader) override {
        pending = [this, key = std::pair(service, account), reader = std::move(reader)] {
            const auto item = items.find(key);
            reader(item == items.end() ? std::nullopt : std::optional(item->second));
        };
        if (!answersLate)
            answer();
    }
    void write(const QString& service, const QString& account, std::optional<QByteArray> value) override {
        if (failsToWrite)
            return;
        items.erase({service, account});
        if (value)
            items.emplace(std::pair(service, account), *value);
    }
    void onNotStored(std::function<void(std::exception_ptr)>) override {}
    void answer() { std::exchange(pending, {})(); } ///< the last read

private:
    std::function<void()> pending;
};

} // namespace tavro
