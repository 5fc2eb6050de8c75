#pragma once

#include "Platform/SecretStore.h"

#include <map>
#include <mutex>
#include <set>
#include <utility>

namespace tavro {

/// Secrets in memory. Like a keychain it refuses to add an item that is there, and it fails at the steps it
/// is told.
class FakeSecretStore final : public SecretStore {
public:
    enum class Step { read, add, remove };

    std::set<Step> failing; ///< set before use on other threads

    std::optional<QByteArray> read(const QString& service, const QString& account) override {
        const std::lock_guard lock(mutex);
        const auto item = items.find({service, account});
        if (failing.contains(Step::read) || item == items.end())
            return std::nullopt;
        return item->second;
    }
    bool add(const QString& service, const QString& account, const QByteArray& value) override {
        const std::lock_guard lock(mutex);
        return !failing.contains(Step::add) && items.emplace(std::pair(service, account), value).second;
    }
    bool remove(const QString& service, const QString& account) override {
        const std::lock_guard lock(mutex);
        return !failing.contains(Step::remove) && items.erase({service, account}) > 0;
    }

private:
    std::mutex mutex;
    std::map<std::pair<QString, QString>, QByteArray> items;
};

} // namespace tavro
