#pragma once

#include <QObject>
#include <QString>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <memory>

namespace tavro {

/// What the recording control bar shows, and what its controls do. Main thread. Lives in a shared_ptr. The
/// owner sets the callbacks and writes the state; a control that is pressed calls back and changes nothing
/// here by itself.
class ControlBarModel : public QObject, public std::enable_shared_from_this<ControlBarModel> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the program")
    Q_PROPERTY(QString elapsed READ elapsed NOTIFY elapsedChanged)
    Q_PROPERTY(float shownLevel READ shownLevel NOTIFY shownLevelChanged)
    Q_PROPERTY(bool isPaused READ isPaused NOTIFY isPausedChanged)
    Q_PROPERTY(bool isFinishing READ isFinishing NOTIFY isFinishingChanged)
    Q_PROPERTY(bool isEnding READ isEnding NOTIFY isEndingChanged)
    Q_PROPERTY(double uploadProgress READ uploadProgress NOTIFY uploadProgressChanged)

public:
    using Callback = std::function<void()>;

    ControlBarModel();

    QString elapsed() const { return elapsedText; }
    void setElapsed(const QString& text);

    /// The audio level as given. The bar shows it as `shownLevel`, which is in 0…1, in steps that the meter
    /// can show, and changes a few times a second at most: what a recording shows of itself it also has to
    /// record.
    float level() const { return currentLevel; }
    void setLevel(float level);
    float shownLevel() const { return displayedLevel; }

    bool isPaused() const { return paused; }
    void setPaused(bool paused);

    bool isFinishing() const { return finishing; }
    void setFinishing(bool finishing);

    /// The session is being deleted: the time stands.
    void setDeleting();

    /// It is being finished or deleted: no control reacts any more.
    bool isEnding() const { return finishing || deleting; }

    /// How much of the video the service has, 0…1; below 0 while nothing is uploaded. In steps of a
    /// hundredth.
    double uploadProgress() const { return progress; }
    void setUploadProgress(double fraction);

    Callback onPause = [] {};
    Callback onResume = [] {};
    Callback onFinish = [] {};
    Callback onRestart = [] {};
    Callback onDelete = [] {};

    // What the bar's controls call. Nothing reacts while the session is ending.
    Q_INVOKABLE void pauseOrResume();
    Q_INVOKABLE void finish();
    Q_INVOKABLE void restart();
    Q_INVOKABLE void remove();

signals:
    void elapsedChanged();
    void shownLevelChanged();
    void isPausedChanged();
    void isFinishingChanged();
    void isEndingChanged();
    void uploadProgressChanged();

private:
    void call(const Callback& callback);
    void showLevel();

    QString elapsedText = QStringLiteral("00:00");
    float currentLevel = 0;
    float displayedLevel = 0;
    QTimer levelTimer;
    bool paused = false;
    bool finishing = false;
    bool deleting = false;
    double progress = -1;
};

} // namespace tavro
