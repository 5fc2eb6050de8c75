#include "UI/SetupModel.h"

#include "Backend/BackendClient.h"
#include "Core/ErrorWords.h"
#include "Core/Log.h"
#include "Core/Tasks.h"

#include <QStringList>
#include <QUrl>

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

QString whyNot(Attempt attempt) {
    const ErrorWords words = inWords(describeCurrentError(), attempt);
    return words.remedy.isEmpty() ? words.happened : words.happened + QLatin1Char(' ') + words.remedy;
}

} // namespace

SetupModel::SetupModel(
    std::shared_ptr<BackendClient> backendGiven, Displays displaysGiven, std::optional<QString> email)
    : backend(std::move(backendGiven))
    , displays(std::move(displaysGiven))
    , userEmail(std::move(email)) {
    connect(this, &SetupModel::newScenarioNameChanged, this, &SetupModel::canAddChanged);
    connect(this, &SetupModel::selectedProjectIdChanged, this, &SetupModel::canStartChanged);
    connect(this, &SetupModel::selectedScenarioIdChanged, this, &SetupModel::canStartChanged);
    connect(this, &SetupModel::selectedCaptureIdChanged, this, &SetupModel::canStartChanged);
    connect(this, &SetupModel::selectedCaptureIdChanged, this, &SetupModel::captureHintChanged);
    connect(this, &SetupModel::captureOptionsChanged, this, &SetupModel::captureHintChanged);
}

QCoro::Task<> SetupModel::load() {
    const auto self = shared_from_this();
    auto listing = loadLists();
    co_await listing;
    auto lookingForDisplays = loadDisplays();
    co_await lookingForDisplays;
    setCaptureId(firstId(captureList));
}

QCoro::Task<> SetupModel::loadLists() {
    const auto self = shared_from_this();
    projectsKnown = false;
    emit loadingChanged();
    auto listingProjects = loadProjects();
    co_await listingProjects;
    if (!projectId || std::ranges::find(projectList, *projectId, &Project::id) == projectList.end())
        setProjectId(firstId(projectList));
    auto listingScenarios = reloadScenarios();
    co_await listingScenarios;
}

void SetupModel::tryAgain() {
    if (!loadingScenarios())
        startTask(QStringLiteral("setup"), [this] { return loadLists(); });
}

QCoro::Task<> SetupModel::loadProjects() {
    const auto self = shared_from_this();
    std::vector<Project> list;
    try {
        auto listing = backend->listProjects();
        list = co_await listing;
        Log::info(QStringLiteral("setup: loaded %1 project(s)").arg(list.size()));
        setServiceFailure({});
    } catch (...) {
        Log::error(QStringLiteral("setup: listProjects failed: ") + localizedDescriptionOfCurrentError() +
                   QStringLiteral(" — dropdowns will be empty (is the configured backend reachable?)"));
        setServiceFailure(whyNot(Attempt::listProjects));
    }
    projectsKnown = true;
    emit loadingChanged();
    setProjects(std::move(list));
}

QCoro::Task<> SetupModel::reloadScenarios() {
    const auto self = shared_from_this();
    if (!projectId) {
        setScenarios({});
        co_return;
    }
    ++reloads;
    emit loadingChanged();
    auto listing = listScenarios(*projectId);
    co_await listing;
    --reloads;
    emit loadingChanged();
    if (reloads > 0)
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
        setServiceFailure({});
    } catch (...) {
        Log::error(QStringLiteral("setup: listScenarios failed for project ") + project +
                   QStringLiteral(": ") + localizedDescriptionOfCurrentError());
        setServiceFailure(whyNot(Attempt::listScenarios));
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
    displaysKnown = true;
    emit loadingChanged();
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

QString SetupModel::destination() const {
    if (backend->address() == BackendClient::localAddress)
        return QStringLiteral("Kept on this computer");
    const QUrl service(backend->address());
    QString uploaded = QStringLiteral("Uploaded to ") + service.host();
    if (service.port() >= 0)
        uploaded += QStringLiteral(":%1").arg(service.port());
    return userEmail ? uploaded + QStringLiteral(" as ") + *userEmail : uploaded;
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

void SetupModel::setServiceFailure(const QString& why) {
    whyNoLists = why;
    emit serviceFailureChanged();
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
