#pragma once

#include "Core/Errors.h"

namespace tavro::libav {

/// The failure that a call of these libraries returned as `code`. Its text is the libraries' own, whole: what
/// the code means and what was reported on this thread on the way to it.
PlatformError error(int code);

/// Returns `code` unless it is one of failure; throws that one.
int check(int code);

/// The failure of a system call.
PlatformError systemError(int errorNumber);

} // namespace tavro::libav
