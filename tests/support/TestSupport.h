#pragma once

#include "Core/Errors.h"

#include <QEventLoop>
#include <QTemporaryDir>
#include <QTimer>
#include <gtest/gtest.h>
#include <qcoro/qcorotask.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>

namespace tavro::test {

/// Runs the event loop until `condition` holds. False after the deadline.
bool waitUntil(
    const std::function<bool()>& condition, std::chrono::milliseconds deadline = std::chrono::seconds(60));

/// Runs the event loop until the task is done. Throws std::runtime_error after the deadline.
template <class T>
T await(QCoro::Task<T> task, std::chrono::milliseconds deadline = std::chrono::seconds(60)) {
    struct Outcome {
        bool done = false;
        std::exception_ptr error;
        std::optional<std::conditional_t<std::is_void_v<T>, bool, T>> value;
    };
    auto outcome = std::make_shared<Outcome>();
    [](auto running, std::shared_ptr<Outcome> result) -> QCoro::Task<> {
        try {
            if constexpr (std::is_void_v<T>)
                co_await running;
            else
                result->value = co_await running;
        } catch (...) {
            result->error = std::current_exception();
        }
        result->done = true;
    }(std::move(task), outcome);
    if (!waitUntil([outcome] { return outcome->done; }, deadline))
        throw std::runtime_error("the task is not done within its deadline");
    if (outcome->error)
        std::rethrow_exception(outcome->error);
    if constexpr (!std::is_void_v<T>)
        return std::move(*outcome->value);
}

/// The error that `action` throws. Fails the test when it throws nothing.
ErrorDescription errorOf(const std::function<void()>& action);

class TemporaryFolder {
public:
    std::filesystem::path path() const { return directory.path().toStdString(); }

private:
    QTemporaryDir directory;
};

/// A home for this test program, so that no test touches the user's files. Create it first in `main`.
class IsolatedHome {
public:
    IsolatedHome();

private:
    TemporaryFolder home;
};

class ScopedEnvironment {
public:
    ScopedEnvironment(const char* name, const QByteArray& value);
    ~ScopedEnvironment();

private:
    const char* name;
    std::optional<QByteArray> before;
};

QByteArray readFile(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, const QByteArray& bytes);

/// Lines logged since construction (see `Log`).
class LogLines {
public:
    LogLines();
    QStringList all() const;
    bool contains(const QString& line) const { return all().contains(line); }

private:
    qint64 start;
};

} // namespace tavro::test
