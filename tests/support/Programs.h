#pragma once

#include <QByteArray>
#include <QStringList>

#include <filesystem>

namespace tavro::test {

/// What came of a program that has ended.
struct Ended {
    int exitCode = -1; ///< as the shell gives it; 127 when there is no such program, -1 when it was killed
    QByteArray output;
    QByteArray complaints; ///< what it wrote to its standard error
};

/// Runs a program to its end, in `folder` where one is given. Blocks, without running the event loop. Not by
/// QProcess: its child shares our memory for a moment, and the thread sanitizer, which is told to overlook
/// what happens inside Qt, would overlook all that this thread does afterwards.
Ended run(const QString& program, const QStringList& arguments, const QByteArray& input = {},
    const std::filesystem::path& folder = {});

/// The output of a program that succeeds; throws std::runtime_error with its complaints otherwise.
QByteArray outputOf(
    const QString& program, const QStringList& arguments, const std::filesystem::path& folder = {});

} // namespace tavro::test
