#pragma once

#include <QString>
#include <qcoro/qcorotask.h>

#include <functional>

namespace tavro {

/// Starts a task that nobody awaits, and logs its exception as "NAME failed: …". Use no other way: the
/// exception would be lost. `makeTask` runs at once; its captures live until the task has ended.
void startTask(QString name, std::function<QCoro::Task<>()> makeTask);

/// The same, from the event loop: for a button's handler whose task may delete the button.
void startTaskLater(QString name, std::function<QCoro::Task<>()> makeTask);

} // namespace tavro
