#include "Session/SessionStateMachine.h"

#include <algorithm>
#include <array>
#include <initializer_list>

namespace tavro {

namespace {

using enum SessionPhase;
using enum SessionAction;

constexpr std::array phaseNames{"idle", "setup", "recording", "paused", "finishing", "uploading", "done"};
constexpr std::array actionNames{"openSetup", "cancelSetup", "start", "pause", "resume", "restart", "finish",
    "videoFinalized", "uploadComplete", "reset", "delete"};

struct Transition {
    SessionAction action;
    SessionPhase from;
    SessionPhase to;
};

constexpr Transition transitions[] = {
    {openSetup, idle, setup},
    {cancelSetup, setup, idle},
    {start, setup, recording},
    {pause, recording, paused},
    {resume, paused, recording},
    {restart, recording, recording},
    {restart, paused, recording},
    {finish, recording, finishing},
    {finish, paused, finishing},
    {videoFinalized, finishing, uploading},
    {uploadComplete, uploading, done},
    {delete_, recording, idle},
    {delete_, paused, idle},
    {reset, idle, idle},
    {reset, setup, idle},
    {reset, recording, idle},
    {reset, paused, idle},
    {reset, finishing, idle},
    {reset, uploading, idle},
    {reset, done, idle},
};

} // namespace

QString name(SessionPhase phase) {
    return QLatin1String(phaseNames.at(static_cast<std::size_t>(phase)));
}

QString name(SessionAction action) {
    return QLatin1String(actionNames.at(static_cast<std::size_t>(action)));
}

SessionStateMachine::TransitionError::TransitionError(SessionPhase phase, SessionAction refused)
    : Error(QStringLiteral("Tavro.SessionStateMachine.TransitionError"), 0,
          Named{QStringLiteral("invalid(from: %1, action: %2)").arg(name(phase), name(refused))},
          {Cause::sessionUnderWay})
    , fromPhase(phase)
    , refusedAction(refused) {}

void SessionStateMachine::apply(SessionAction action) {
    const auto* allowed = std::ranges::find_if(
        transitions, [&](const Transition& t) { return t.action == action && t.from == current; });
    if (allowed == std::end(transitions))
        throw TransitionError(current, action);
    current = allowed->to;
}

} // namespace tavro
