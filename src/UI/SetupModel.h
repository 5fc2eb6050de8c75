#pragma once

#include "Backend/Models.h"
#include "Capture/CaptureTarget.h"
#include "UI/SetupResult.h"

#include <QObject>
#include <QProperty>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>
#include <qcoro/qcorotask.h>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace tavro {

class BackendClient;

/// The setup form's lists and selections. Main thread. Lives in a shared_ptr; running work keeps it alive. A
/// failed load leaves an empty list and a log line; one of the service's lists also tells why. QML lists hold
/// objects with `id` and `text`; an absent selection is the empty string.
class SetupModel : public QObject, public std::enable_shared_from_this<SetupModel> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the program")
    Q_PROPERTY(QVariantList projects READ projectItems NOTIFY projectsChanged)
    Q_PROPERTY(QVariantList scenarios READ scenarioItems NOTIFY scenariosChanged)
    Q_PROPERTY(QVariantList captureOptions READ captureItems NOTIFY captureOptionsChanged)
    Q_PROPERTY(QString selectedProjectId READ projectIdText NOTIFY selectedProjectIdChanged)
    Q_PROPERTY(
        QString selectedScenarioId READ scenarioIdText WRITE selectScenario NOTIFY selectedScenarioIdChanged)
    Q_PROPERTY(
        QString selectedCaptureId READ captureIdText WRITE selectCapture NOTIFY selectedCaptureIdChanged)
    Q_PROPERTY(QString captureHint READ captureHint NOTIFY captureHintChanged)
    Q_PROPERTY(QString appUrl READ appUrl WRITE setAppUrl NOTIFY appUrlChanged)
    Q_PROPERTY(bool includeMic READ includeMic WRITE setIncludeMic NOTIFY includeMicChanged)
    Q_PROPERTY(
        QString newScenarioName READ newScenarioName WRITE setNewScenarioName NOTIFY newScenarioNameChanged)
    Q_PROPERTY(bool noDisplays READ noDisplays NOTIFY captureOptionsChanged)
    Q_PROPERTY(bool loadingProjects READ loadingProjects NOTIFY loadingChanged)
    Q_PROPERTY(bool loadingScenarios READ loadingScenarios NOTIFY loadingChanged)
    Q_PROPERTY(bool loadingDisplays READ loadingDisplays NOTIFY loadingChanged)
    Q_PROPERTY(QString serviceFailure READ serviceFailure NOTIFY serviceFailureChanged)
    Q_PROPERTY(QString destination READ destination CONSTANT)
    Q_PROPERTY(bool canAdd READ canAdd NOTIFY canAddChanged)
    Q_PROPERTY(bool canStart READ canStart NOTIFY canStartChanged)

public:
    /// Lists the displays, or throws; see CaptureCatalog.
    using Displays = std::function<QCoro::Task<std::vector<CaptureOption>>()>;

    /// `email`: of the user at the backend; absent where it is not known.
    SetupModel(std::shared_ptr<BackendClient> backend, Displays displays,
        std::optional<QString> email = std::nullopt);

    const std::vector<Project>& projects() const { return projectList; }
    const std::vector<Scenario>& scenarios() const { return scenarioList; }
    const std::vector<CaptureOption>& captureOptions() const { return captureList; }
    const std::optional<QString>& selectedProjectId() const { return projectId; }
    const std::optional<QString>& selectedScenarioId() const { return scenarioId; }
    const std::optional<QString>& selectedCaptureId() const { return captureId; }
    QString captureHint() const; ///< of the selected option; empty when there is nothing to tell
    QString appUrl() const { return appUrlText; }
    bool includeMic() const { return microphone; }
    QString destination() const; ///< what becomes of a take
    const QString& serviceFailure() const {
        return whyNoLists;
    } ///< why a list is empty; empty when it loaded
    QString newScenarioName() const { return newName; }

    void selectScenario(const QString& id) { setScenarioId(id); }
    void selectCapture(const QString& id) { setCaptureId(id); }
    void setAppUrl(const QString& text) { appUrlText = text; }
    void setIncludeMic(bool include) { microphone = include; }
    void setNewScenarioName(const QString& text) { newName = text; }

    /// Fills the lists and selects the first of each.
    QCoro::Task<> load();
    /// Fills `scenarios` for the selected project. Of several calls the last to finish counts; when it listed
    /// another project than the selected one, the list is loaded once more.
    QCoro::Task<> reloadScenarios();
    /// Loads projects and scenarios again, unless they are being loaded. Keeps a selected project that is
    /// still there.
    Q_INVOKABLE void tryAgain();
    /// Selects a project and starts to load its scenarios.
    Q_INVOKABLE void selectProject(const QString& id);
    /// Creates a scenario in the selected project and selects it; a failure changes nothing.
    QCoro::Task<> createScenario(QString name);
    /// The form's result; none while it is incomplete.
    std::optional<SetupResult> makeResult() const;

    std::function<void(SetupResult)> onStart = [](const SetupResult&) {};
    std::function<void()> onCancel = [] {};

    Q_INVOKABLE void add();
    Q_INVOKABLE void start();
    Q_INVOKABLE void cancel();

signals:
    void projectsChanged();
    void scenariosChanged();
    void captureOptionsChanged();
    void selectedProjectIdChanged();
    void selectedScenarioIdChanged();
    void selectedCaptureIdChanged();
    void captureHintChanged();
    void appUrlChanged();
    void includeMicChanged();
    void newScenarioNameChanged();
    void canAddChanged();
    void canStartChanged();
    void loadingChanged();
    void serviceFailureChanged();

private:
    QCoro::Task<> loadLists();
    QCoro::Task<> loadProjects();
    QCoro::Task<> listScenarios(QString project);
    QCoro::Task<> loadDisplays();
    void setProjects(std::vector<Project> list);
    void setScenarios(std::vector<Scenario> list);
    void setAdding(bool value);
    void setServiceFailure(const QString& why);
    void setProjectId(std::optional<QString> id);
    void setScenarioId(std::optional<QString> id);
    void setCaptureId(std::optional<QString> id);
    const CaptureOption* selectedCapture() const; ///< null while it is not in the list

    QVariantList projectItems() const;
    QVariantList scenarioItems() const;
    QVariantList captureItems() const;
    QString projectIdText() const { return projectId.value_or(QString()); }
    QString scenarioIdText() const { return scenarioId.value_or(QString()); }
    QString captureIdText() const { return captureId.value_or(QString()); }
    bool noDisplays() const { return displaysKnown && captureList.empty(); }
    bool loadingProjects() const { return !projectsKnown; }
    bool loadingScenarios() const { return !projectsKnown || reloads > 0; }
    bool loadingDisplays() const { return !displaysKnown; }
    bool canAdd() const { return !adding && !newScenarioName().isEmpty(); }
    /// False while the shown scenarios belong to another project.
    bool canStart() const { return scenarioId && captureId && listedProjectId == projectId; }

    const std::shared_ptr<BackendClient> backend;
    const Displays displays;
    const std::optional<QString> userEmail;

    bool projectsKnown = false; ///< their loading has ended, in whatever way
    bool displaysKnown = false;
    QString whyNoLists;
    std::vector<Project> projectList;
    std::vector<Scenario> scenarioList;
    std::vector<CaptureOption> captureList;
    std::optional<QString> projectId;
    std::optional<QString> listedProjectId; ///< the project of the listed scenarios
    int reloads = 0;                        ///< under way
    std::vector<Scenario> added;            ///< meanwhile; their lists may be older
    std::optional<QString> scenarioId;
    std::optional<QString> captureId;
    Q_OBJECT_BINDABLE_PROPERTY(SetupModel, QString, appUrlText, &SetupModel::appUrlChanged)
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(SetupModel, bool, microphone, true, &SetupModel::includeMicChanged)
    Q_OBJECT_BINDABLE_PROPERTY(SetupModel, QString, newName, &SetupModel::newScenarioNameChanged)
    bool adding = false; ///< a scenario is being created
};

} // namespace tavro
