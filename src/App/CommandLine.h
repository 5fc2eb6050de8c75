#pragma once

#include <optional>

namespace tavro {

/// Answers what the command line asks for, on standard output or standard error. Returns the exit code, or
/// nothing when the program shall start.
std::optional<int> answerCommandLine(int argc, char** argv);

} // namespace tavro
