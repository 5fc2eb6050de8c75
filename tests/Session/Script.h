#pragma once

#include "Core/Promise.h"

#include <QStringList>
#include <qcoro/qcorotask.h>

#include <map>
#include <set>
#include <stdexcept>

namespace tavro::test {

/// What the scripted parts of a session do: they note each call here, and at the calls named they fail or
/// wait.
struct Script {
    QStringList calls;
    std::set<QString> failing;
    std::map<QString, Promise<void>> held; ///< resolved by the test to let the call go on

    /// One call: noted at once; then held and failed as told.
    QCoro::Task<> step(QString name) {
        calls << name;
        const auto wait = held.find(name);
        if (wait != held.end()) {
            const auto go = wait->second;
            co_await go;
        }
        failIfTold(name);
    }
    void failIfTold(const QString& name) const {
        if (failing.contains(name))
            throw std::runtime_error(("scripted failure of " + name).toStdString());
    }
};

} // namespace tavro::test
