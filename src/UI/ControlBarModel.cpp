#include "UI/ControlBarModel.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

namespace tavro {

namespace {

constexpr std::chrono::milliseconds levelInterval{100};
constexpr float levelSteps = 44; // the meter's width in points

float inSteps(float level) {
    const float inRange = level > 0 ? std::min(level, 1.0f) : 0.0f; // NaN counts as silence
    return std::round(inRange * levelSteps) / levelSteps;
}

} // namespace

ControlBarModel::ControlBarModel() {
    levelTimer.setSingleShot(true);
    levelTimer.setInterval(levelInterval);
    connect(&levelTimer, &QTimer::timeout, this, &ControlBarModel::showLevel);
}

void ControlBarModel::setElapsed(const QString& text) {
    if (!deleting)
        elapsedText = text;
}

void ControlBarModel::setLevel(float level) {
    currentLevel = level;
    if (!levelTimer.isActive())
        showLevel();
}

void ControlBarModel::showLevel() {
    const float shown = inSteps(currentLevel);
    if (shown == displayedLevel)
        return;
    displayedLevel = shown;
    levelTimer.start(); // the timeout shows the latest level
    emit shownLevelChanged();
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
