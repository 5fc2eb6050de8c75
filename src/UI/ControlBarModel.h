#pragma once

#include <QObject>
#include <QProperty>
#include <QString>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <memory>

namespace tavro {

/// The state and callbacks of the recording control bar. Main thread. Lives in a shared_ptr. The owner sets
/// the callbacks and writes the state; a pressed control only calls back.
class ControlBarModel : public QObject, public std::enable_shared_from_this<ControlBarModel> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the program")
    Q_PROPERTY(QString elapsed READ elapsed NOTIFY elapsedChanged)
    Q_PROPERTY(float shownLevel READ shownLevel NOTIFY shownLevelChanged)
    Q_PROPERTY(float toldLevel READ toldLevel NOTIFY toldLevelChanged)
    Q_PROPERTY(bool isMicrophoneSilent READ isMicrophoneSilent NOTIFY isMicrophoneSilentChanged)
    Q_PROPERTY(bool isPaused READ isPaused NOTIFY isPausedChanged)
    Q_PROPERTY(bool isFinishing READ isFinishing NOTIFY isFinishingChanged)
    Q_PROPERTY(bool isEnding READ isEnding NOTIFY isEndingChanged)
    Q_PROPERTY(double uploadProgress READ uploadProgress NOTIFY uploadProgressChanged)

public:
    using Callback = std::function<void()>;

    ControlBarModel();

    QString elapsed() const { return elapsedText; }
    void setElapsed(const QString& text);

    /// The audio level as given. The bar shows `shownLevel`: 0…1, in steps of the meter, on its way to the
    /// level given last, 30 changes a second at most and none without a change. Screen readers get
    /// `toldLevel`: in tenths, one change a second at most.
    float level() const { return currentLevel; }
    void setLevel(float level);
    float shownLevel() const;
    float toldLevel() const { return told; }

    /// The microphone is recorded and has given no sound for a while.
    bool isMicrophoneSilent() const { return microphoneSilent; }
    void setMicrophoneSilent(bool value) { microphoneSilent = value; }

    bool isPaused() const { return paused; }
    void setPaused(bool value) { paused = value; }

    bool isFinishing() const { return finishing; }
    void setFinishing(bool finishing);

    /// The session is being deleted: the time stops.
    void setDeleting();

    /// The session is being finished or deleted; no control reacts.
    bool isEnding() const { return finishing || deleting; }

    /// The uploaded share of the video, 0…1 in steps of 0.01; below 0 without an upload.
    double uploadProgress() const { return progress; }
    void setUploadProgress(double fraction);

    Callback onPause = [] {};
    Callback onResume = [] {};
    Callback onFinish = [] {};
    Callback onRestart = [] {};
    Callback onDelete = [] {};

    // For the bar's controls; no effect while the session is ending.
    Q_INVOKABLE void pauseOrResume();
    Q_INVOKABLE void finish();
    Q_INVOKABLE void restart();
    Q_INVOKABLE void remove();

signals:
    void elapsedChanged();
    void shownLevelChanged();
    void toldLevelChanged();
    void isMicrophoneSilentChanged();
    void isPausedChanged();
    void isFinishingChanged();
    void isEndingChanged();
    void uploadProgressChanged();

private:
    void call(const Callback& callback);
    void moveLevel();
    void tellLevel();

    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(
        ControlBarModel, QString, elapsedText, QStringLiteral("00:00"), &ControlBarModel::elapsedChanged)
    float currentLevel = 0;
    int shownSteps = 0; ///< of the meter
    QTimer levelTimer;
    float told = 0;
    QTimer tellTimer;
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(
        ControlBarModel, bool, microphoneSilent, false, &ControlBarModel::isMicrophoneSilentChanged)
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(
        ControlBarModel, bool, paused, false, &ControlBarModel::isPausedChanged)
    bool finishing = false;
    bool deleting = false;
    double progress = -1;
};

} // namespace tavro
