#pragma once

#include "Core/Promise.h"

#include <QStringList>
#include <qcoro/qcorotask.h>

#include <map>
#include <set>
#include <stdexcept>

namespace tavro::test {

/// The script of a session's fakes: records each call, and fails or waits at the named calls.
struct Script {
    QStringList calls;
    std::set<QString> failing;
    std::map<QString, Promise<void>> held; ///< the test resolves it to continue the call

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
