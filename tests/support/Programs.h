#pragma once

#include <QByteArray>
#include <QStringList>

#include <filesystem>

namespace tavro::test {

struct Ended {
    int exitCode = -1; ///< 127 when there is no such program, -1 when it was killed
    QByteArray output;
    QByteArray complaints; ///< standard error
};

/// Runs a program to its end, in `folder` if given. Blocks without an event loop. No QProcess: its child
/// shares our memory at first, and the thread sanitizer would then ignore later accesses of this thread.
Ended run(const QString& program, const QStringList& arguments, const QByteArray& input = {},
    const std::filesystem::path& folder = {});

/// The output of a program that succeeds; throws std::runtime_error with its complaints otherwise.
QByteArray outputOf(
    const QString& program, const QStringList& arguments, const std::filesystem::path& folder = {});

} // namespace tavro::test
