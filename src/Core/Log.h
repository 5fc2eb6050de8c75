#pragma once

#include <QString>

#include <filesystem>

/// The application log. Each line, "[LEVEL] message\n" in UTF-8, goes to standard error and to a file in the
/// user's log folder. Never throws or reports its own failures. Any thread; lines are neither lost nor mixed.
namespace tavro::Log {

void info(const QString& message);
void error(const QString& message);

/// The log file. The first call creates its folder; the path then stays the same.
const std::filesystem::path& url();

} // namespace tavro::Log
