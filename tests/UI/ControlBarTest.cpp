#include "UI/ControlBarModel.h"
#include "UI/MoreMenu.h"
#include "UI/PressFeedback.h"
#include "UI/RecordingControlPanel.h"

#include "Platform/Windowing/DesktopWindowing.h"
#include "support/TestSupport.h"

#include <cmath>
#include <limits>

using namespace tavro;
using namespace tavro::test;

namespace {

struct ControlBarTest : testing::Test {
    std::shared_ptr<ControlBarModel> model = std::make_shared<ControlBarModel>();
    QStringList calls;

    ControlBarTest() {
        model->onPause = [this] { calls << u"pause"_qs; };
        model->onResume = [this] { calls << u"resume"_qs; };
        model->onFinish = [this] { calls << u"finish"_qs; };
        model->onRestart = [this] { calls << u"restart"_qs; };
        model->onDelete = [this] { calls << u"delete"_qs; };
    }
};

} // namespace

TEST(ElapsedText, isMinutesAndSecondsWithoutACap) {
    const struct {
        double seconds;
        const char* text;
    } cases[] = {{0, "00:00"}, {59.9, "00:59"}, {60, "01:00"}, {3599.5, "59:59"}, {4503, "75:03"},
        {6000, "100:00"}, {-3, "00:00"}, {std::nan(""), "00:00"},
        {std::numeric_limits<double>::infinity(), "16666666:40"}};
    for (const auto& test : cases)
        EXPECT_EQ(RecordingControlPanel::elapsedText(test.seconds).toStdString(), test.text);
}

TEST_F(ControlBarTest, aControlCallsBackAndChangesNothing) {
    model->pauseOrResume();
    EXPECT_FALSE(model->isPaused()); // the owner sets it
    model->setPaused(true);
    model->pauseOrResume();
    model->restart();
    model->remove();
    model->finish();
    EXPECT_EQ(calls, (QStringList{u"pause"_qs, u"resume"_qs, u"restart"_qs, u"delete"_qs, u"finish"_qs}));
}

TEST_F(ControlBarTest, nothingReactsWhileFinishing) {
    MoreMenu menu(model);
    menu.toggle();
    ASSERT_TRUE(menu.isOpen());
    model->setFinishing(true);
    EXPECT_FALSE(menu.isOpen());
    menu.toggle();
    menu.move(1);
    EXPECT_FALSE(menu.isOpen());
    model->pauseOrResume();
    model->finish();
    model->restart();
    model->remove();
    EXPECT_TRUE(calls.empty());
}

TEST_F(ControlBarTest, levelIsKeptAsGivenAndShownWithinItsBounds) {
    const struct {
        float level, shown;
    } cases[] = {{-0.5f, 0}, {0, 0}, {0.5f, 0.5f}, {1, 1}, {3, 1}, {std::nanf(""), 0}, {0.004f, 0}};
    for (const auto& test : cases) {
        model->setLevel(test.level);
        EXPECT_TRUE(waitUntil([&] { return model->shownLevel() == test.shown; })) << test.level;
        EXPECT_TRUE(model->level() == test.level || std::isnan(test.level));
    }
}

TEST_F(ControlBarTest, aJumpOfTheLevelIsShownAsAMovement) {
    std::vector<float> shown{0};
    QObject::connect(
        model.get(), &ControlBarModel::shownLevelChanged, [&] { shown.push_back(model->shownLevel()); });
    model->setLevel(1);
    EXPECT_EQ(shown.size(), 2u); // it begins at once
    EXPECT_TRUE(waitUntil([&] { return shown.back() == 1; }));
    model->setLevel(0.25F);
    EXPECT_TRUE(waitUntil([&] { return shown.back() == 0.25F; }));
    for (std::size_t i = 1; i < shown.size(); ++i)
        EXPECT_LE(std::abs(shown[i] - shown[i - 1]), 0.5F);
    EXPECT_LT(shown.size(), 20u);
}

TEST_F(ControlBarTest, aFlickeringLevelIsShownAndToldInGoodTimeAndEndsRight) {
    int changes = 0, told = 0;
    QObject::connect(model.get(), &ControlBarModel::shownLevelChanged, [&] { ++changes; });
    QObject::connect(model.get(), &ControlBarModel::toldLevelChanged, [&] { ++told; });
    for (int i = 0; i < 1000; ++i)
        model->setLevel(i % 2 ? 1 : 0.3F);
    EXPECT_EQ(changes, 1); // the first at once
    EXPECT_EQ(told, 1);
    model->setLevel(0.76F);
    EXPECT_TRUE(waitUntil([&] { return model->toldLevel() == 0.8F; }));
    EXPECT_EQ(told, 2);
    EXPECT_LT(std::abs(model->shownLevel() - 0.76F), 0.02F);
}

TEST_F(ControlBarTest, silenceChangesNothing) {
    int changes = 0;
    QObject::connect(model.get(), &ControlBarModel::shownLevelChanged, [&] { ++changes; });
    QObject::connect(model.get(), &ControlBarModel::toldLevelChanged, [&] { ++changes; });
    for (const float noise : {0.001f, 0.003f, 0.0005f})
        model->setLevel(noise);
    EXPECT_EQ(changes, 0);
}

TEST_F(ControlBarTest, uploadProgressIsShownInHundredths) {
    int changes = 0;
    QObject::connect(model.get(), &ControlBarModel::uploadProgressChanged, [&] { ++changes; });
    for (int i = 0; i <= 10000; ++i)
        model->setUploadProgress(i / 10000.0);
    EXPECT_EQ(changes, 101);
    EXPECT_EQ(model->uploadProgress(), 1);
    model->setUploadProgress(-1);
    EXPECT_EQ(model->uploadProgress(), -1);
}

TEST_F(ControlBarTest, theMenuRestartsAndDeletes) {
    MoreMenu menu(model);
    menu.choose(0); // closed
    EXPECT_TRUE(calls.empty());

    menu.move(1); // opens
    EXPECT_EQ(menu.current(), 0);
    menu.move(1);
    menu.move(1);
    EXPECT_EQ(menu.current(), 0);
    menu.move(-1);
    EXPECT_EQ(menu.current(), 1);
    menu.choose(menu.current());
    EXPECT_FALSE(menu.isOpen());

    menu.move(-1);
    EXPECT_EQ(menu.current(), 1);
    menu.close();
    menu.toggle();
    EXPECT_EQ(menu.current(), MoreMenu::none);
    menu.choose(MoreMenu::none);
    menu.toggle();
    menu.choose(0);
    EXPECT_EQ(calls, (QStringList{u"delete"_qs, u"restart"_qs}));
}

TEST(PressFeedback, endsWithTheFirstPressAlsoWhenAnotherFollows) {
    PressFeedback feedback;
    QStringList seen;
    QObject::connect(&feedback, &PressFeedback::flashingChanged, [&] { seen << feedback.flashing(); });
    feedback.press(u"pause.fill"_qs);
    EXPECT_EQ(feedback.flashing(), u"pause.fill"_qs);
    feedback.press(u"play.fill"_qs);
    EXPECT_TRUE(waitUntil([&] { return feedback.flashing().isEmpty(); }));
    feedback.press(u"pause.fill"_qs);
    EXPECT_TRUE(waitUntil([&] { return feedback.flashing().isEmpty(); }));
    EXPECT_EQ(seen, (QStringList{u"pause.fill"_qs, u"play.fill"_qs, u""_qs, u"pause.fill"_qs, u""_qs}));
}

TEST_F(ControlBarTest, theTimerWritesTheTimeUntilItIsReplacedOrThePanelClosed) {
    DesktopWindowing windowing;
    RecordingControlPanel panel(*model, windowing);
    int first = 0;
    int second = 0;
    panel.startTimer([&] { return ++first, 61.7; });
    EXPECT_EQ(model->elapsed(), u"00:00"_qs); // until the first second is over
    EXPECT_TRUE(waitUntil([&] { return model->elapsed() == u"01:01"_qs; }));
    panel.startTimer([&] { return ++second, 6000; });
    const int before = first;
    EXPECT_TRUE(waitUntil([&] { return second == 2; }));
    EXPECT_EQ(first, before);
    EXPECT_EQ(model->elapsed(), u"100:00"_qs);

    panel.close();
    QTimer afterwards;
    afterwards.setSingleShot(true);
    afterwards.start(std::chrono::milliseconds(1500)); // longer than a tick
    EXPECT_TRUE(waitUntil([&] { return !afterwards.isActive(); }));
    EXPECT_EQ(second, 2);
}
