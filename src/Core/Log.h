#pragma once

#include <QString>

#include <filesystem>

/// The one application log. A line is "[LEVEL] message\n" in UTF-8, written to standard error and appended
/// to a file in the user's log folder. Never throws, never reports its own failures. Any thread; lines of
/// concurrent callers are neither lost nor interleaved.
namespace tavro::Log {

void info(const QString& message);
void error(const QString& message);

/// The log file, determined at first use (its folder is created then) and the same for the whole process.
const std::filesystem::path& url();

} // namespace tavro::Log
