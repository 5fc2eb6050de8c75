#include "Session/SessionStateMachine.h"

#include "support/TestSupport.h"

namespace tavro {
namespace {

using Machine = SessionStateMachine;
using enum SessionPhase;
using enum SessionAction;

Machine after(const std::vector<SessionAction>& way) {
    Machine machine;
    for (const SessionAction action : way)
        machine.apply(action);
    return machine;
}

// The session's tests cover refusals while recording; this covers the rare late phases.
TEST(SessionStateMachine, leavesTheLatePhasesByOneStepAlone) {
    const struct {
        std::vector<SessionAction> way;
        SessionPhase phase;
        std::optional<SessionAction> step;
    } cases[] = {
        {{openSetup, start, finish}, finishing, videoFinalized},
        {{openSetup, start, finish, videoFinalized}, uploading, uploadComplete},
        {{openSetup, start, pause, finish, videoFinalized, uploadComplete}, done, std::nullopt},
    };
    for (const auto& c : cases) {
        Machine machine = after(c.way);
        EXPECT_EQ(machine.phase(), c.phase);
        for (const SessionAction action : {openSetup, cancelSetup, start, pause, resume, restart, finish,
                 videoFinalized, uploadComplete, delete_}) {
            if (action == c.step)
                continue;
            EXPECT_EQ(test::errorOf([&] { machine.apply(action); }).text,
                u"invalid(from: %1, action: %2)"_qs.arg(name(c.phase), name(action)));
            EXPECT_EQ(machine.phase(), c.phase);
        }
    }
}

TEST(SessionStateMachine, resetsFromEveryPhase) {
    const std::vector<SessionAction> way{openSetup, start, pause, finish, videoFinalized, uploadComplete};
    for (std::size_t steps = 0; steps <= way.size(); ++steps) {
        Machine machine = after({way.begin(), way.begin() + static_cast<std::ptrdiff_t>(steps)});
        machine.apply(reset);
        EXPECT_EQ(machine.phase(), idle);
    }
}

TEST(SessionStateMachine, describesARefusal) {
    const auto error = test::errorOf([] { after({openSetup}).apply(openSetup); });
    EXPECT_EQ(error.domain, u"Tavro.SessionStateMachine.TransitionError");
    EXPECT_EQ(error.code, 0);
    EXPECT_FALSE(Machine::TransitionError(idle, finish) == Machine::TransitionError(idle, pause));
    EXPECT_FALSE(Machine::TransitionError(idle, finish) == Machine::TransitionError(done, finish));
}

} // namespace
} // namespace tavro
