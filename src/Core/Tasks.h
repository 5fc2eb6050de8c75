#pragma once

#include <QString>
#include <qcoro/qcorotask.h>

#include <functional>

namespace tavro {

/// Starts a task that nobody awaits, as a button does. This is the one place for that: an exception that
/// leaves the task would be lost otherwise. It is logged as "NAME failed: …".
///
/// `makeTask` runs at once. What it captured lives until the task has ended.
void startTask(QString name, std::function<QCoro::Task<>()> makeTask);

} // namespace tavro
