#include "UI/ControlBarModel.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

namespace tavro {

namespace {

constexpr std::chrono::milliseconds levelInterval{33};
constexpr std::chrono::seconds tellInterval{1};
constexpr float levelSteps = 44; // the meter's width in points
constexpr float toldSteps = 10;

float inRange(float level) {
    return level > 0 ? std::min(level, 1.0f) : 0.0f; // NaN counts as silence
}

} // namespace

ControlBarModel::ControlBarModel() {
    levelTimer.setSingleShot(true);
    levelTimer.setInterval(levelInterval);
    levelTimer.setTimerType(Qt::PreciseTimer); // a coarse one is seen to stutter
    connect(&levelTimer, &QTimer::timeout, this, &ControlBarModel::moveLevel);
    tellTimer.setSingleShot(true);
    tellTimer.setInterval(tellInterval);
    connect(&tellTimer, &QTimer::timeout, this, &ControlBarModel::tellLevel);
}

void ControlBarModel::setElapsed(const QString& text) {
    if (!deleting)
        elapsedText = text;
}

void ControlBarModel::setLevel(float level) {
    currentLevel = level;
    if (!levelTimer.isActive())
        moveLevel();
    if (!tellTimer.isActive())
        tellLevel();
}

float ControlBarModel::shownLevel() const {
    return static_cast<float>(shownSteps) / levelSteps;
}

// Half of the way, so that a jump of the level is seen as a movement; at least a step.
void ControlBarModel::moveLevel() {
    const auto wanted = static_cast<int>(std::lround(inRange(currentLevel) * levelSteps));
    const int way = wanted - shownSteps;
    if (way == 0)
        return;
    shownSteps += (way + (way > 0 ? 1 : -1)) / 2;
    levelTimer.start();
    emit shownLevelChanged();
}

void ControlBarModel::tellLevel() {
    const float wanted = std::round(inRange(currentLevel) * toldSteps) / toldSteps;
    if (wanted == told)
        return;
    told = wanted;
    tellTimer.start();
    emit toldLevelChanged();
}

void ControlBarModel::setFinishing(bool value) {
    if (value == finishing)
        return;
    finishing = value;
    emit isFinishingChanged();
    emit isEndingChanged();
}

void ControlBarModel::setDeleting() {
    if (std::exchange(deleting, true))
        return;
    emit isEndingChanged();
}

void ControlBarModel::setUploadProgress(double fraction) {
    const double shown = fraction >= 0 ? std::floor(std::min(fraction, 1.0) * 100) / 100 : -1;
    if (shown == progress)
        return;
    progress = shown;
    emit uploadProgressChanged();
}

void ControlBarModel::pauseOrResume() {
    call(paused ? onResume : onPause);
}

void ControlBarModel::finish() {
    call(onFinish);
}

void ControlBarModel::restart() {
    call(onRestart);
}

void ControlBarModel::remove() {
    call(onDelete);
}

void ControlBarModel::call(const Callback& callback) {
    if (isEnding() || !callback)
        return;
    const Callback copy = callback; // the callee may replace it
    copy();
}

} // namespace tavro
