#include "UI/SessionSetupController.h"

#include "Backend/MockBackend.h"
#include "support/TestSupport.h"

#include <QQuickItem>

using namespace tavro;
using namespace tavro::test;

namespace {

struct SessionSetupControllerTest : testing::Test {
    TemporaryFolder folder;
    std::vector<SetupResult> started;
    SessionSetupController controller{std::make_shared<MockBackend>(folder.path()),
        []() -> QCoro::Task<std::vector<CaptureOption>> {
            std::vector<CaptureOption> options;
            for (const QString& number : {u"1"_qs, u"2"_qs})
                options.push_back(
                    {.id = number, .label = number, .meta = {.identifier = number, .label = number}});
            co_return options;
        },
        [this](const SetupResult& result) { started.push_back(result); }, [] {}};

    /// It answers after a few turns of the event loop.
    static void letTheWindowManagerAct() {
        int turns = 0;
        waitUntil([&] { return ++turns > 20; });
    }
    /// Opens the window and chooses what is not the default.
    std::shared_ptr<SetupModel> choose() {
        controller.show();
        const auto model =
            controller.window()->rootObject()->property("model").value<SetupModel*>()->shared_from_this();
        EXPECT_TRUE(waitUntil([&] { return model->property("canStart").toBool(); }));
        model->selectScenario(model->scenarios().back().id);
        model->selectCapture(u"2"_qs);
        model->setAppUrl(u"https://example.org"_qs);
        model->setIncludeMic(false);
        model->setNewScenarioName(u"Not added yet"_qs);
        return model;
    }
};

} // namespace

TEST_F(SessionSetupControllerTest, startHidesTheWindowWhichComesBackAsItWas) {
    const auto model = choose();
    const ViewWindow& window = *controller.window();
    ASSERT_TRUE(waitUntil([&] { return window.isExposed() && !window.frameMargins().isNull(); }));
    controller.window()->setPosition(140, 150);
    letTheWindowManagerAct();
    const QPoint place = window.framePosition();
    model->start();
    letTheWindowManagerAct();
    ASSERT_EQ(started.size(), 1u);
    EXPECT_EQ(started.front().target.identifier, u"2");
    EXPECT_FALSE(controller.window()->isVisible());

    controller.showAgain();
    EXPECT_TRUE(waitUntil([&] { return window.isExposed(); }));
    letTheWindowManagerAct();
    EXPECT_EQ(window.framePosition(), place);
    EXPECT_EQ(model->newScenarioName(), u"Not added yet");
    model->start();
    EXPECT_EQ(started, std::vector(2, started.front()));
}

TEST_F(SessionSetupControllerTest, dropsOnlyAWindowThatStartHasHidden) {
    controller.drop();
    controller.showAgain(); // there is none
    const auto model = choose();
    controller.drop();
    ASSERT_TRUE(controller.window());
    EXPECT_TRUE(controller.window()->isVisible());
    model->start();
    controller.drop();
    EXPECT_FALSE(controller.window());
}
