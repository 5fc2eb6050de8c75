#pragma once

#include "Core/Errors.h"

namespace tavro::libav {

/// Libav's error `code`: its description and the lines logged on this thread before it.
PlatformError error(int code);

/// Returns `code`, or throws its error when it is negative.
int check(int code);

PlatformError systemError(int errorNumber);

} // namespace tavro::libav
