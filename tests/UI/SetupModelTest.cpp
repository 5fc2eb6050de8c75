#include "UI/SetupModel.h"

#include "Backend/MockBackend.h"
#include "GatedBackend.h"
#include "support/TestSupport.h"

using namespace tavro;
using namespace tavro::test;

namespace {

CaptureOption display(const QString& number) {
    return {.id = QStringLiteral("display-") + number,
        .label = QStringLiteral("Display ") + number,
        .meta = {.kind = CaptureKind::display,
            .identifier = number,
            .label = QStringLiteral("Display ") + number}};
}

SetupModel::Displays showing(std::vector<CaptureOption> options) {
    return [options = std::move(options)]() -> QCoro::Task<std::vector<CaptureOption>> { co_return options; };
}

SetupModel::Displays refusing(const QString& why) {
    return [why]() -> QCoro::Task<std::vector<CaptureOption>> {
        throw PlatformError(QStringLiteral("Screen"), 3, why);
        co_return {};
    };
}

std::exception_ptr unreachable() {
    return std::make_exception_ptr(PlatformError(
        QStringLiteral("Net"), 1, QStringLiteral("Connection refused"), {Cause::serviceUnreachable}));
}

const QString noDisplayLine = QStringLiteral(
    "[ERROR] setup: no displays available — Screen Recording permission is not active for this launch. "
    "Grant it in the wizard, then Quit & Relaunch Tavro. (No synthetic display offered — it can't match a "
    "real display.)");

struct SetupModelTest : testing::Test {
    LogLines log;
    std::shared_ptr<GatedBackend> gated = std::make_shared<GatedBackend>();

    std::shared_ptr<SetupModel> make(std::shared_ptr<BackendClient> backend, SetupModel::Displays displays) {
        return std::make_shared<SetupModel>(std::move(backend), std::move(displays));
    }
    /// A model whose project "p" is selected and has one scenario, "s".
    std::shared_ptr<SetupModel> loaded() {
        gated->projects.resolve(
            std::vector<Project>{{.id = u"p"_qs, .name = u"P"_qs, .description = {}, .systemName = {}}});
        answer(u"p"_qs, {u"s"_qs});
        auto model = make(gated, showing({display(u"1"_qs)}));
        await(model->load());
        return model;
    }
    /// Presses Start, which must work exactly while the property is true.
    static bool canStart(SetupModel& model) {
        bool started = false;
        model.onStart = [&](const SetupResult&) { started = true; };
        model.start();
        model.onStart = [](const SetupResult&) {};
        EXPECT_EQ(started, model.property("canStart").toBool());
        return started;
    }
    void answer(const QString& project, const QStringList& ids) {
        std::vector<Scenario> list;
        for (const QString& id : ids)
            list.push_back({.id = id, .projectId = project, .name = id.toUpper(), .description = {}});
        gated->scenarios[project].resolve(list);
    }
};

} // namespace

TEST_F(SetupModelTest, startsEmptyWithNarrationOn) {
    const auto model = make(gated, showing({}));
    EXPECT_FALSE(model->selectedProjectId() || model->selectedScenarioId() || model->selectedCaptureId());
    EXPECT_TRUE(model->includeMic());
    EXPECT_EQ(model->makeResult(), std::nullopt);
    EXPECT_TRUE(model->property("selectedScenarioId").toString().isEmpty());
}

TEST_F(SetupModelTest, selectsTheFirstOfEachListOfTheLocalBackend) {
    const TemporaryFolder folder;
    const auto model =
        make(std::make_shared<MockBackend>(folder.path()), showing({display(u"7"_qs), display(u"2"_qs)}));
    await(model->load());

    ASSERT_EQ(model->projects().size(), 1u);
    ASSERT_GE(model->scenarios().size(), 2u);
    EXPECT_EQ(model->selectedProjectId(), model->projects().front().id);
    EXPECT_EQ(model->selectedScenarioId(), model->scenarios().front().id);
    const SetupResult expected{.scenarioId = model->scenarios().front().id,
        .appUrl = std::nullopt,
        .target = display(u"7"_qs).meta,
        .includeMic = true};
    EXPECT_EQ(model->makeResult(), expected);
    EXPECT_EQ(
        log.all(), (QStringList{u"[INFO] setup: loaded 1 project(s)"_qs,
                       u"[INFO] setup: loaded %1 scenario(s) for project %2"_qs.arg(model->scenarios().size())
                           .arg(model->projects().front().id),
                       u"[INFO] setup: found 2 display(s): [\"7\", \"2\"]"_qs}));
}

TEST_F(SetupModelTest, tellsTheHintOfTheSelectedDisplay) {
    gated->projects.reject(unreachable());
    CaptureOption asked = display(u"2"_qs);
    asked.hint = u"Choose HEADLESS-2."_qs;
    const auto model = make(gated, showing({display(u"1"_qs), asked}));
    QStringList shown;
    QObject::connect(model.get(), &SetupModel::captureHintChanged, model.get(),
        [&] { shown << model->property("captureHint").toString(); });
    await(model->load());
    model->selectCapture(u"display-2"_qs);
    model->selectCapture(u"display-1"_qs);
    shown.removeDuplicates();
    EXPECT_EQ(shown, (QStringList{u""_qs, asked.hint}));
    EXPECT_EQ(model->captureHint(), QString());
}

TEST_F(SetupModelTest, offersTheDisplaysAlsoWhenTheServiceIsDown) {
    gated->projects.reject(unreachable());
    const auto model = make(gated, showing({display(u"1"_qs)}));
    await(model->load());

    EXPECT_EQ(model->selectedCaptureId(), u"display-1"_qs);
    EXPECT_EQ(model->selectedProjectId(), std::nullopt);
    EXPECT_FALSE(model->property("canStart").toBool());
    EXPECT_EQ(gated->calls, QStringList{u"listProjects"_qs}); // no project, nothing to ask for
    EXPECT_EQ(log.all(),
        (QStringList{u"[ERROR] setup: listProjects failed: Connection refused — dropdowns will be empty "
                     u"(is the configured backend reachable?)"_qs,
            u"[INFO] setup: found 1 display(s): [\"1\"]"_qs}));
}

TEST_F(SetupModelTest, leavesTheScenariosEmptyWhenTheyCannotBeListed) {
    gated->projects.resolve(
        std::vector<Project>{{.id = u"p"_qs, .name = u"P"_qs, .description = {}, .systemName = {}}});
    gated->scenarios[u"p"_qs].reject(unreachable());
    const auto model = make(gated, showing({display(u"1"_qs)}));
    await(model->load());

    EXPECT_EQ(model->selectedProjectId(), u"p"_qs);
    EXPECT_EQ(model->selectedScenarioId(), std::nullopt);
    EXPECT_TRUE(log.contains(u"[ERROR] setup: listScenarios failed for project p: Connection refused"_qs));
}

TEST_F(SetupModelTest, saysWhenThereIsNoDisplayToRecord) {
    const struct {
        SetupModel::Displays displays;
        QString firstLine;
    } cases[] = {
        {showing({}), u"[INFO] setup: found 0 display(s): []"_qs},
        {refusing(u"no screen"_qs),
            u"[ERROR] setup: CaptureCatalog.displays() failed: no screen — Screen Recording permission likely not active yet"_qs},
    };
    gated->projects.reject(unreachable());
    for (const auto& test : cases) {
        const LogLines lines;
        const auto model = make(gated, test.displays);
        await(model->load());
        EXPECT_EQ(lines.all().mid(1), (QStringList{test.firstLine, noDisplayLine}));
        EXPECT_TRUE(model->property("noDisplays").toBool());
        EXPECT_EQ(model->selectedCaptureId(), std::nullopt);
    }
}

TEST_F(SetupModelTest, theReloadThatFinishesLastCountsAndStartIsPossibleAfterIt) {
    const auto model = loaded();
    model->selectProject(u"slow"_qs);
    model->selectProject(u"quick"_qs);
    EXPECT_EQ(model->selectedProjectId(), u"quick"_qs);
    EXPECT_FALSE(canStart(*model)); // the old project's scenario is still selected

    answer(u"quick"_qs, {u"q1"_qs, u"q2"_qs});
    ASSERT_TRUE(waitUntil([&] { return model->selectedScenarioId() == u"q1"_qs; }));
    EXPECT_TRUE(canStart(*model));
    gated->scenarios.erase(u"quick"_qs);
    answer(u"quick"_qs, {u"q1"_qs, u"q2"_qs}); // for a second request
    QStringList selected;
    QObject::connect(model.get(), &SetupModel::selectedScenarioIdChanged, model.get(),
        [&] { selected << model->selectedScenarioId().value_or(QString()); });
    answer(u"slow"_qs, {u"s1"_qs});
    ASSERT_TRUE(waitUntil([&] { return selected == QStringList({u"s1"_qs, u"q1"_qs}); }));
    EXPECT_EQ(model->scenarios().size(), 2u); // loaded once more, for the selected project
    EXPECT_EQ(model->selectedProjectId(), u"quick"_qs);
    EXPECT_TRUE(canStart(*model));
    answer(u"third"_qs, {u"t1"_qs});
    model->selectProject(u"third"_qs);
    EXPECT_TRUE(waitUntil([&] { return canStart(*model); }));
}

TEST_F(SetupModelTest, createsAScenarioAndSelectsIt) {
    const auto model = loaded();
    model->setNewScenarioName(u"  Pay twice "_qs);
    model->add();
    EXPECT_FALSE(model->property("canAdd").toBool());
    model->add();                                                           // the second of a double click
    EXPECT_EQ(gated->calls.count(u"createScenario p|  Pay twice |"_qs), 1); // the name as typed
    gated->creation.resolve(
        Scenario{.id = u"new"_qs, .projectId = u"p"_qs, .name = u"  Pay twice "_qs, .description = {}});
    ASSERT_TRUE(waitUntil([&] { return model->selectedScenarioId() == u"new"_qs; }));

    EXPECT_EQ(model->scenarios().back().id, u"new"_qs);
    EXPECT_TRUE(model->newScenarioName().isEmpty());
    EXPECT_FALSE(model->property("canAdd").toBool());
}

TEST_F(SetupModelTest, aScenarioThatCannotBeCreatedChangesNothing) {
    const auto model = loaded();
    const auto lines = log.all();
    model->setNewScenarioName(u"Pay twice"_qs);
    gated->creation.reject(unreachable());
    await(model->createScenario(model->newScenarioName()));

    EXPECT_EQ(model->newScenarioName(), u"Pay twice"_qs);
    EXPECT_TRUE(model->property("canAdd").toBool());
    EXPECT_EQ(model->selectedScenarioId(), u"s"_qs);
    EXPECT_EQ(model->scenarios().size(), 1u);
    EXPECT_EQ(log.all(), lines);
}

TEST_F(SetupModelTest, aScenarioThatComesUnderAnotherProjectIsNotOffered) {
    const auto model = loaded();
    model->setNewScenarioName(u"Pay twice"_qs);
    auto creating = model->createScenario(model->newScenarioName());
    answer(u"q"_qs, {u"t"_qs});
    model->selectProject(u"q"_qs);
    ASSERT_TRUE(waitUntil([&] { return model->selectedScenarioId() == u"t"_qs; }));
    model->setNewScenarioName(u"Pay later"_qs);
    gated->creation.resolve(Scenario{.id = u"n"_qs, .projectId = u"p"_qs, .name = {}, .description = {}});
    await(std::move(creating));

    EXPECT_EQ(model->selectedScenarioId(), u"t"_qs);
    EXPECT_EQ(model->scenarios().size(), 1u);
    EXPECT_EQ(model->newScenarioName(), u"Pay later"_qs) << "what was typed meanwhile";
}

TEST_F(SetupModelTest, aScenarioThatIsCreatedWhileItsListLoadsStaysSelected) {
    const struct {
        QStringList listed;
        std::size_t shown;
    } cases[] = {{{u"t"_qs}, 2}, {{u"t"_qs, u"n"_qs}, 2}, {{}, 1}};
    for (const auto& test : cases) {
        gated = std::make_shared<GatedBackend>();
        const auto model = loaded();
        model->selectProject(u"q"_qs);
        gated->creation.resolve(Scenario{.id = u"n"_qs, .projectId = u"q"_qs, .name = {}, .description = {}});
        await(model->createScenario(u"Pay twice"_qs));
        answer(u"q"_qs, test.listed);
        ASSERT_TRUE(waitUntil([&] { return canStart(*model); }));
        EXPECT_EQ(model->selectedScenarioId(), u"n"_qs);
        EXPECT_EQ(model->scenarios().size(), test.shown);
        gated->scenarios.erase(u"p"_qs);
        answer(u"p"_qs, {u"s"_qs});
        model->selectProject(u"p"_qs);
        EXPECT_TRUE(waitUntil([&] { return model->selectedScenarioId() == u"s"_qs; }));
        EXPECT_EQ(model->scenarios().size(), 1u);
    }
}

TEST_F(SetupModelTest, createsNothingWithoutANameOrAProject) {
    const auto model = loaded();
    const auto before = gated->calls;
    await(model->createScenario({}));
    const auto blank = make(gated, showing({}));
    await(blank->createScenario(u"Pay twice"_qs));
    EXPECT_EQ(gated->calls, before);
}

TEST_F(SetupModelTest, resultIsWhatTheFormSays) {
    const auto model = loaded();
    const struct {
        QString scenario, capture, url;
        bool complete;
        std::optional<QString> expectedUrl;
    } cases[] = {
        {u"s"_qs, u"display-1"_qs, u""_qs, true, std::nullopt},
        {u"s"_qs, u"display-1"_qs, u"  "_qs, true, u"  "_qs},
        {u"unlisted"_qs, u"display-1"_qs, u"not a url"_qs, true, u"not a url"_qs},
        {u"s"_qs, u"display-9"_qs, u""_qs, false, std::nullopt},
    };
    for (const auto& test : cases) {
        model->selectScenario(test.scenario);
        model->selectCapture(test.capture);
        model->setAppUrl(test.url);
        model->setIncludeMic(false);
        const SetupResult expected{.scenarioId = test.scenario,
            .appUrl = test.expectedUrl,
            .target = display(u"1"_qs).meta,
            .includeMic = false};
        EXPECT_EQ(model->makeResult(), test.complete ? std::optional(expected) : std::nullopt)
            << test.capture.toStdString();
    }
}

TEST_F(SetupModelTest, startCallsBackOnlyWithAResult) {
    const auto model = loaded();
    std::vector<SetupResult> started;
    model->onStart = [&](const SetupResult& result) { started.push_back(result); };
    model->selectCapture(u"gone"_qs);
    model->start();
    EXPECT_TRUE(started.empty());
    model->selectCapture(u"display-1"_qs);
    model->start();
    EXPECT_EQ(started.size(), 1u);
}

TEST_F(SetupModelTest, aListThatIsOnItsWayIsNotTakenForAnEmptyOne) {
    Promise<void> looking;
    const auto model = make(gated, [looking]() -> QCoro::Task<std::vector<CaptureOption>> {
        co_await looking;
        co_return std::vector<CaptureOption>{};
    });
    const auto state = [&] {
        QStringList names;
        for (const char* name : {"loadingProjects", "loadingScenarios", "loadingDisplays", "noDisplays"})
            if (model->property(name).toBool())
                names << QLatin1String(name);
        return names.join(u' ');
    };
    EXPECT_EQ(state(), u"loadingProjects loadingScenarios loadingDisplays");
    auto loading = model->load();
    EXPECT_EQ(state(), u"loadingProjects loadingScenarios loadingDisplays");
    gated->projects.resolve(
        std::vector<Project>{{.id = u"p"_qs, .name = u"P"_qs, .description = {}, .systemName = {}}});
    EXPECT_TRUE(waitUntil([&] { return state() == u"loadingScenarios loadingDisplays"; }));
    answer(u"p"_qs, {u"s"_qs});
    EXPECT_TRUE(waitUntil([&] { return state() == u"loadingDisplays"; }));
    looking.resolve();
    await(std::move(loading));
    EXPECT_EQ(state(), u"noDisplays");

    model->selectProject(u"q"_qs);
    EXPECT_EQ(state(), u"loadingScenarios noDisplays");
    answer(u"q"_qs, {});
    EXPECT_TRUE(waitUntil([&] { return state() == u"noDisplays"; }));
}

TEST_F(SetupModelTest, saysWhyAListIsEmptyAndTriesAgain) {
    const QString why = u"The service cannot be reached. Check the network connection and the service's "
                        u"address."_qs;
    gated->projects.reject(unreachable());
    const auto model = make(gated, showing({display(u"1"_qs), display(u"2"_qs)}));
    await(model->load());
    EXPECT_EQ(model->serviceFailure(), why);
    model->selectCapture(u"display-2"_qs);

    gated->projects = {};
    gated->scenarios[u"p"_qs].reject(unreachable());
    model->tryAgain();
    model->tryAgain(); // while it does
    EXPECT_TRUE(model->property("loadingProjects").toBool());
    gated->projects.resolve(
        std::vector<Project>{{.id = u"o"_qs, .name = {}, .description = {}, .systemName = {}},
            {.id = u"p"_qs, .name = {}, .description = {}, .systemName = {}}});
    answer(u"o"_qs, {u"r"_qs});
    ASSERT_TRUE(waitUntil([&] { return canStart(*model); }));
    EXPECT_EQ(model->serviceFailure(), QString());
    EXPECT_EQ(gated->calls.count(u"listProjects"_qs), 2);
    model->selectProject(u"p"_qs);
    ASSERT_TRUE(waitUntil([&] { return model->serviceFailure() == why; }));

    gated->projects = {};
    gated->projects.resolve(
        std::vector<Project>{{.id = u"o"_qs, .name = {}, .description = {}, .systemName = {}},
            {.id = u"p"_qs, .name = {}, .description = {}, .systemName = {}}});
    gated->scenarios.erase(u"p"_qs);
    answer(u"p"_qs, {u"s"_qs});
    model->tryAgain();
    ASSERT_TRUE(waitUntil([&] { return canStart(*model); }));
    EXPECT_EQ(model->serviceFailure(), QString());
    EXPECT_EQ(model->selectedProjectId(), u"p"_qs) << "the project that was chosen";
    EXPECT_EQ(model->selectedCaptureId(), u"display-2"_qs);
}

TEST_F(SetupModelTest, saysWhereATakeGoes) {
    const struct {
        QString address;
        std::optional<QString> email;
        QString destination;
    } cases[] = {
        {BackendClient::localAddress, std::nullopt, u"Kept on this computer"_qs},
        {BackendClient::localAddress, u"a@example.com"_qs, u"Kept on this computer"_qs},
        {u"https://tavro.example"_qs, std::nullopt, u"Uploaded to tavro.example"_qs},
        {u"http://127.0.0.1:8080/base"_qs, u"a@example.com"_qs,
            u"Uploaded to 127.0.0.1:8080 as a@example.com"_qs},
    };
    for (const auto& c : cases) {
        gated->serviceAddress = c.address;
        EXPECT_EQ(SetupModel(gated, showing({}), c.email).destination(), c.destination);
    }
}

TEST_F(SetupModelTest, workUnderWayOutlivesTheForm) {
    auto model = make(gated, showing({}));
    model->load();
    const std::weak_ptr<SetupModel> watched = model;
    model.reset();
    EXPECT_FALSE(watched.expired());
    gated->projects.resolve(std::vector<Project>{});
    EXPECT_TRUE(waitUntil([&] { return watched.expired(); }));
}
