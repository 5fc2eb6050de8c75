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

// Where each action leads from each phase, in the phases' order; empty where it is refused.
TEST(SessionStateMachine, followsItsTable) {
    const std::vector<SessionAction> ways[] = {{}, {openSetup}, {openSetup, start}, {openSetup, start, pause},
        {openSetup, start, finish}, {openSetup, start, finish, videoFinalized},
        {openSetup, start, finish, videoFinalized, uploadComplete}};
    const SessionPhase phases[] = {idle, setup, recording, paused, finishing, uploading, done};
    using Next = std::optional<SessionPhase>;
    const Next none;
    const struct {
        SessionAction action;
        Next next[7];
    } table[] = {
        {openSetup, {setup, none, none, none, none, none, none}},
        {cancelSetup, {none, idle, none, none, none, none, none}},
        {start, {none, recording, none, none, none, none, none}},
        {pause, {none, none, paused, none, none, none, none}},
        {resume, {none, none, none, recording, none, none, none}},
        {restart, {none, none, recording, recording, none, none, none}},
        {finish, {none, none, finishing, finishing, none, none, none}},
        {videoFinalized, {none, none, none, none, uploading, none, none}},
        {uploadComplete, {none, none, none, none, none, done, none}},
        {reset, {idle, idle, idle, idle, idle, idle, idle}},
        {delete_, {none, none, idle, idle, none, none, none}},
    };
    for (const auto& [action, next] : table)
        for (std::size_t i = 0; i < std::size(phases); ++i) {
            Machine machine = after(ways[i]);
            ASSERT_EQ(machine.phase(), phases[i]);
            const QString refusal = u"invalid(from: %1, action: %2)"_qs.arg(name(phases[i]), name(action));
            if (next[i])
                machine.apply(action);
            else
                EXPECT_EQ(test::errorOf([&] { machine.apply(action); }).text, refusal);
            EXPECT_EQ(machine.phase(), next[i].value_or(phases[i])) << refusal.toStdString();
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
