#include "Core/Version.h"

namespace tavro {

const char* const version = TAVRO_VERSION;
const char* const userAgent = "Tavro/" TAVRO_VERSION;

} // namespace tavro
