#pragma once

#include "Backend/Models.h"
#include "Platform/ScreenCapture.h"

#include <optional>
#include <vector>

namespace tavro {

/// A display that may be chosen for recording.
struct CaptureOption {
    QString id;
    CaptureKind kind = CaptureKind::display;
    QString label;
    CaptureTargetMeta meta;
    bool operator==(const CaptureOption&) const = default;
};

/// What can be recorded. Both ask the platform anew each time and throw its error when it does not answer;
/// the screen outlives them.
namespace CaptureCatalog {

/// All displays, in the platform's order.
QCoro::Task<std::vector<CaptureOption>> displays(ScreenCaptureService& screen);

/// The filter for a target, whose number is compared as text; none, and a line in the log, when it is not
/// there.
QCoro::Task<std::optional<ContentFilter>> filter(ScreenCaptureService& screen, CaptureTargetMeta target);

/// A list of ids as it stands in the log, e.g. `["1", "2"]`.
QString bracketed(const QStringList& ids);

} // namespace CaptureCatalog

} // namespace tavro
