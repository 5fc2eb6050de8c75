#pragma once

#include "Core/Errors.h"

namespace tavro {

enum class SessionPhase { idle, setup, recording, paused, finishing, uploading, done };

enum class SessionAction {
    openSetup,
    cancelSetup,
    start,
    pause,
    resume,
    restart,
    finish,
    videoFinalized,
    uploadComplete,
    reset,
    delete_,
};

QString name(SessionPhase phase);
QString name(SessionAction action);

/// The permitted steps of a recording session. A plain value.
class SessionStateMachine {
public:
    /// An action that does not fit the phase: `invalid(from:action:)`.
    class TransitionError final : public Error {
    public:
        TransitionError(SessionPhase phase, SessionAction refused);
        SessionPhase from() const { return fromPhase; }
        SessionAction action() const { return refusedAction; }
        bool operator==(const TransitionError& other) const {
            return fromPhase == other.fromPhase && refusedAction == other.refusedAction;
        }

    private:
        SessionPhase fromPhase;
        SessionAction refusedAction;
    };

    SessionPhase phase() const { return current; }

    /// Goes to the next phase, or throws TransitionError and stays.
    void apply(SessionAction action);

private:
    SessionPhase current = SessionPhase::idle;
};

} // namespace tavro
