#pragma once

#include "Backend/Models.h"
#include "Platform/ScreenCapture.h"

#include <optional>
#include <vector>

namespace tavro {

/// A display that can be recorded.
struct CaptureOption {
    QString id;
    CaptureKind kind = CaptureKind::display;
    QString label;
    CaptureTargetMeta meta;
    QString hint{}; ///< for people who choose it; may be empty
    bool operator==(const CaptureOption&) const = default;
};

/// What can be recorded: asks `screen`, which outlives the call, each time and throws its error.
namespace CaptureCatalog {

/// All displays, in the platform's order.
QCoro::Task<std::vector<CaptureOption>> displays(ScreenCaptureService& screen);

/// The filter for a target, compared as text; none, with a line in the log, when it does not exist.
QCoro::Task<std::optional<ContentFilter>> filter(ScreenCaptureService& screen, CaptureTargetMeta target);

/// A list of ids for the log, e.g. `["1", "2"]`.
QString bracketed(const QStringList& ids);

} // namespace CaptureCatalog

} // namespace tavro
