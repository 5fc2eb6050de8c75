#include "Core/Tasks.h"

#include "Core/Errors.h"
#include "Core/Log.h"

#include <utility>

namespace tavro {

namespace {

QCoro::Task<> runLogged(QString name, std::function<QCoro::Task<>()> makeTask) {
    try {
        auto task = makeTask();
        co_await task;
    } catch (...) {
        Log::error(name + QStringLiteral(" failed: ") + describeCurrentError().text);
    }
}

} // namespace

void startTask(QString name, std::function<QCoro::Task<>()> makeTask) {
    runLogged(std::move(name), std::move(makeTask));
}

} // namespace tavro
