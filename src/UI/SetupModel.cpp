#include "UI/SetupModel.h"

#include "Backend/BackendClient.h"
#include "Core/Errors.h"
#include "Core/Log.h"
#include "Core/Tasks.h"

#include <QStringList>

#include <algorithm>

namespace tavro {

namespace {

template <class Records>
std::optional<QString> firstId(const Records& records) {
    return records.empty() ? std::nullopt : std::optional(records.front().id);
}

template <class Records, class Text>
QVariantList items(const Records& records, Text text) {
    QVariantList list;
    for (const auto& record : records)
        list.append(QVariantMap{{QStringLiteral("id"), record.id}, {QStringLiteral("text"), record.*text}});
    return list;
}

QString targetIdentifiers(const std::vector<CaptureOption>& options) {
    QStringList identifiers;
    for (const CaptureOption& option : options)
        identifiers << option.meta.identifier;
    return CaptureCatalog::bracketed(identifiers);
}

} // namespace

SetupModel::SetupModel(std::shared_ptr<BackendClient> backendGiven, Displays displaysGiven)
    : backend(std::move(backendGiven))
    , displays(std::move(displaysGiven)) {
    connect(this, &SetupModel::newScenarioNameChanged, this, &SetupModel::canAddChanged);
    connect(this, &SetupModel::selectedProjectIdChanged, this, &SetupModel::canStartChanged);
    connect(this, &SetupModel::selectedScenarioIdChanged, this, &SetupModel::canStartChanged);
    connect(this, &SetupModel::selectedCaptureIdChanged, this, &SetupModel::canStartChanged);
    connect(this, &SetupModel::selectedCaptureIdChanged, this, &SetupModel::captureHintChanged);
    connect(this, &SetupModel::captureOptionsChanged, this, &SetupModel::captureHintChanged);
}

QCoro::Task<> SetupModel::load() {
    const auto self = shared_from_this();
    auto loadingProjects = loadProjects();
    co_await loadingProjects;
    setProjectId(firstId(projectList));
    auto loadingScenarios = reloadScenarios();
    co_await loadingScenarios;
    auto loadingDisplays = loadDisplays();
    co_await loadingDisplays;
    setCaptureId(firstId(captureList));
}

QCoro::Task<> SetupModel::loadProjects() {
    const auto self = shared_from_this();
    std::vector<Project> list;
    try {
        auto listing = backend->listProjects();
        list = co_await listing;
        Log::info(QStringLiteral("setup: loaded %1 project(s)").arg(list.size()));
    } catch (...) {
        Log::error(QStringLiteral("setup: listProjects failed: ") + localizedDescriptionOfCurrentError() +
                   QStringLiteral(" — dropdowns will be empty (is the configured backend reachable?)"));
    }
    setProjects(std::move(list));
}

QCoro::Task<> SetupModel::reloadScenarios() {
    const auto self = shared_from_this();
    if (!projectId) {
        setScenarios({});
        co_return;
    }
    ++reloads;
    auto listing = listScenarios(*projectId);
    co_await listing;
    if (--reloads > 0)
        co_return;
    added.clear();
    if (listedProjectId != projectId) { // else the form could not be started
        auto again = reloadScenarios();
        co_await again;
    }
}

QCoro::Task<> SetupModel::listScenarios(QString project) {
    std::vector<Scenario> list;
    try {
        auto listing = backend->listScenarios(project);
        list = co_await listing;
        Log::info(QStringLiteral("setup: loaded %1 scenario(s) for project ").arg(list.size()) + project);
    } catch (...) {
        Log::error(QStringLiteral("setup: listScenarios failed for project ") + project +
                   QStringLiteral(": ") + localizedDescriptionOfCurrentError());
    }
    std::optional<QString> newest;
    for (const Scenario& scenario : added) {
        if (scenario.projectId != project)
            continue;
        newest = scenario.id;
        if (std::ranges::find(list, scenario.id, &Scenario::id) == list.end())
            list.push_back(scenario);
    }
    setScenarios(std::move(list));
    listedProjectId = project;
    setScenarioId(newest ? newest : firstId(scenarioList));
}

QCoro::Task<> SetupModel::loadDisplays() {
    const auto self = shared_from_this();
    std::vector<CaptureOption> list;
    try {
        auto listing = displays();
        list = co_await listing;
        Log::info(QStringLiteral("setup: found %1 display(s): ").arg(list.size()) + targetIdentifiers(list));
    } catch (...) {
        Log::error(QStringLiteral("setup: CaptureCatalog.displays() failed: ") +
                   localizedDescriptionOfCurrentError() +
                   QStringLiteral(" — Screen Recording permission likely not active yet"));
    }
    if (list.empty())
        Log::error(QStringLiteral("setup: no displays available — Screen Recording permission is not active "
                                  "for this launch. Grant it in the "
                                  "wizard, then Quit & Relaunch Tavro. (No synthetic display offered — it "
                                  "can't match a real display.)"));
    captureList = std::move(list);
    emit captureOptionsChanged();
}

void SetupModel::selectProject(const QString& id) {
    setProjectId(id);
    startTask(QStringLiteral("setup"), [this] { return reloadScenarios(); });
}

QCoro::Task<> SetupModel::createScenario(QString name) {
    const auto self = shared_from_this();
    if (!projectId || name.isEmpty())
        co_return;
    const QString project = *projectId;
    setAdding(true);
    try {
        auto creating = backend->createScenario(project, name, QString());
        const Scenario created = co_await creating;
        if (projectId == project) { // else the shown list is another project's
            scenarioList.push_back(created);
            emit scenariosChanged();
            setScenarioId(created.id);
        }
        if (reloads > 0)
            added.push_back(created);
        if (newName == name)
            setNewScenarioName({});
    } catch (...) { // the name stays in its field for another try
    }
    setAdding(false);
}

const CaptureOption* SetupModel::selectedCapture() const {
    const auto option =
        std::ranges::find(captureList, captureId, [](const CaptureOption& o) { return std::optional(o.id); });
    return option == captureList.end() ? nullptr : &*option;
}

QString SetupModel::captureHint() const {
    const CaptureOption* option = selectedCapture();
    return option ? option->hint : QString();
}

std::optional<SetupResult> SetupModel::makeResult() const {
    const CaptureOption* option = selectedCapture();
    if (!scenarioId || !option)
        return std::nullopt;
    return SetupResult{.scenarioId = *scenarioId,
        .appUrl = appUrl().isEmpty() ? std::nullopt : std::optional(appUrl()),
        .target = option->meta,
        .includeMic = microphone};
}

void SetupModel::add() {
    if (canAdd()) // a screen reader can press disabled buttons
        startTask(QStringLiteral("setup"), [this] { return createScenario(newName); });
}

void SetupModel::start() {
    const auto self = shared_from_this(); // the callee may destroy the form
    if (const auto result = makeResult(); result && canStart())
        onStart(*result);
}

void SetupModel::cancel() {
    const auto self = shared_from_this();
    onCancel();
}

void SetupModel::setProjects(std::vector<Project> list) {
    projectList = std::move(list);
    emit projectsChanged();
}

void SetupModel::setScenarios(std::vector<Scenario> list) {
    scenarioList = std::move(list);
    emit scenariosChanged();
}

void SetupModel::setAdding(bool value) {
    adding = value;
    emit canAddChanged();
}

void SetupModel::setProjectId(std::optional<QString> id) {
    projectId = std::move(id);
    emit selectedProjectIdChanged();
}

void SetupModel::setScenarioId(std::optional<QString> id) {
    scenarioId = std::move(id);
    emit selectedScenarioIdChanged();
}

void SetupModel::setCaptureId(std::optional<QString> id) {
    captureId = std::move(id);
    emit selectedCaptureIdChanged();
}

QVariantList SetupModel::projectItems() const {
    return items(projectList, &Project::name);
}

QVariantList SetupModel::scenarioItems() const {
    return items(scenarioList, &Scenario::name);
}

QVariantList SetupModel::captureItems() const {
    return items(captureList, &CaptureOption::label);
}

} // namespace tavro
