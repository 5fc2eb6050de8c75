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

/// Runs the event loop until `condition` holds; false when it does not within the (generous) deadline.
bool waitUntil(
    const std::function<bool()>& condition, std::chrono::milliseconds deadline = std::chrono::seconds(60));

/// Runs the event loop until the task is done and returns its value or throws its error. Throws
/// std::runtime_error when it is not done within the deadline.
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

/// What `action` throws, described; fails the test when it throws nothing.
ErrorDescription errorOf(const std::function<void()>& action);

/// A folder of its own that is gone after the test.
class TemporaryFolder {
public:
    std::filesystem::path path() const { return directory.path().toStdString(); }

private:
    QTemporaryDir directory;
};

/// A home of this test program's own, so that no test reads or writes what is the user's. Made first in
/// `main`.
class IsolatedHome {
public:
    IsolatedHome();

private:
    TemporaryFolder home;
};

/// Sets an environment variable for as long as it lives.
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

/// The lines written to the log (see `Log`) since this object was made.
class LogLines {
public:
    LogLines();
    QStringList all() const;
    bool contains(const QString& line) const { return all().contains(line); }

private:
    qint64 start;
};

} // namespace tavro::test
