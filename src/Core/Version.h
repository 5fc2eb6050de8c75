#pragma once

namespace tavro {

/// The program's version, as in “1.0.0”.
extern const char* const version;

/// What the program calls itself to HTTP servers: “Tavro/1.0.0”.
extern const char* const userAgent;

} // namespace tavro
