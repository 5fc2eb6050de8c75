#include "Session/SessionStateMachine.h"

#include "support/TestSupport.h"

namespace tavro {
namespace {

using Machine = SessionStateMachine;
using enum SessionPhase;
using enum SessionAction;

constexpr SessionPhase phases[] = {idle, setup, recording, paused, finishing, uploading, done};
constexpr SessionAction actions[] = {openSetup, cancelSetup, start, pause, resume, restart, finish,
    videoFinalized, uploadComplete, reset, delete_};

Machine machineIn(SessionPhase phase) {
    const std::vector<SessionAction> way[] = {{}, {openSetup}, {openSetup, start}, {openSetup, start, pause},
        {openSetup, start, finish}, {openSetup, start, finish, videoFinalized},
        {openSetup, start, finish, videoFinalized, uploadComplete}};
    Machine machine;
    for (const SessionAction action : way[static_cast<int>(phase)])
        machine.apply(action);
    EXPECT_EQ(machine.phase(), phase);
    return machine;
}

// Rows: actions; columns: phases; a letter is the next phase's first (f: finishing), a dot is refused.
TEST(SessionStateMachine, allowsExactlyWhatTheMatrixSays) {
    const std::string_view matrix[] = {
        "s......", // openSetup
        ".i.....", // cancelSetup
        ".r.....", // start
        "..p....", // pause
        "...r...", // resume
        "..rr...", // restart
        "..ff...", // finish
        "....u..", // videoFinalized
        ".....d.", // uploadComplete
        "iiiiiii", // reset
        "..ii...", // delete
    };
    const std::string_view letters = "isrpfud";
    for (const SessionAction action : actions)
        for (const SessionPhase from : phases) {
            const char cell = matrix[static_cast<std::size_t>(action)][static_cast<std::size_t>(from)];
            Machine machine = machineIn(from);
            const std::string what = qPrintable(name(action) + u" from "_qs + name(from));
            if (cell == '.') {
                try {
                    machine.apply(action);
                    ADD_FAILURE() << what << " was not refused";
                } catch (const Machine::TransitionError& error) {
                    EXPECT_EQ(error, Machine::TransitionError(from, action)) << what;
                }
                EXPECT_EQ(machine.phase(), from) << what;
            } else {
                machine.apply(action);
                EXPECT_EQ(static_cast<std::size_t>(machine.phase()), letters.find(cell)) << what;
            }
        }
}

TEST(SessionStateMachine, namesTheRefusedStep) {
    Machine machine = machineIn(setup);
    const auto error = test::errorOf([&] { machine.apply(openSetup); });
    EXPECT_EQ(error.text, u"invalid(from: setup, action: openSetup)");
    EXPECT_EQ(error.domain, u"Tavro.SessionStateMachine.TransitionError");
    EXPECT_EQ(error.code, 0);
    EXPECT_EQ(
        test::errorOf([] { machineIn(done).apply(delete_); }).text, u"invalid(from: done, action: delete)");
    EXPECT_FALSE(Machine::TransitionError(idle, finish) == Machine::TransitionError(idle, pause));
    EXPECT_FALSE(Machine::TransitionError(idle, finish) == Machine::TransitionError(done, finish));
}

} // namespace
} // namespace tavro
