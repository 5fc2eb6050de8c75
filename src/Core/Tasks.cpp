#include "Core/Tasks.h"

#include "Core/Errors.h"
#include "Core/EventLoop.h"
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

void startTaskLater(QString name, std::function<QCoro::Task<>()> makeTask) {
    EventLoop::current()->post(
        [name = std::move(name), makeTask = std::move(makeTask)] { startTask(name, makeTask); });
}

} // namespace tavro
