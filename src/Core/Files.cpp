#include "Core/Files.h"

#include <system_error>

namespace tavro::Files {

void remove(const std::filesystem::path& file) {
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
}

} // namespace tavro::Files
