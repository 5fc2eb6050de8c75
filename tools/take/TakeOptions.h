#pragma once

#include "Backend/Models.h"
#include "Platform/ScreenCapture.h"

#include <QStringList>
#include <QUrl>

#include <chrono>
#include <optional>
#include <stdexcept>
#include <vector>

namespace tavro {

/// One action during a take, at a time after the recording's start.
struct TakeStep {
    enum class Action { pause, resume, restart, deleteSession, finish };
    std::chrono::milliseconds at;
    Action action;
    bool operator==(const TakeStep&) const = default;
};

struct TakeOptions {
    std::vector<TakeStep> steps;             ///< in order of time; the last one ends the session
    std::optional<CaptureTargetMeta> target; ///< absent: the first display
    bool narrate = false;
    SystemVersion system;
    std::optional<QUrl> service; ///< absent: the local backend

    /// `arguments` without the program's name. Throws UsageError.
    static TakeOptions parse(const QStringList& arguments);
};

class UsageError final : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

QString takeUsage();

} // namespace tavro
