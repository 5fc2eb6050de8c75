#pragma once

#include "Backend/Models.h"

namespace tavro {

struct SetupResult {
    QString scenarioId;
    std::optional<QString> appUrl;
    CaptureTargetMeta target;
    bool includeMic = false;
    bool operator==(const SetupResult&) const = default;
};

} // namespace tavro
