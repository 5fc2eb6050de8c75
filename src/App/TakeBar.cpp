#include "App/TakeBar.h"

#include "Core/Tasks.h"
#include "UI/ControlBarModel.h"
#include "UI/RecordingControlPanel.h"

#include <utility>

namespace tavro {

TakeBar::TakeBar(PowerInhibitor& inhibitorGiven, Windowing& windowingGiven, Actions actionsGiven)
    : inhibitor(inhibitorGiven)
    , windowing(windowingGiven)
    , actions(std::move(actionsGiven)) {}

TakeBar::~TakeBar() = default;

void TakeBar::show() {
    awake = inhibitor.inhibit(QStringLiteral("A test session is being recorded"));
    model = std::make_shared<ControlBarModel>();
    connect(model->onPause, actions.pause, true);
    connect(model->onResume, actions.resume, false);
    connect(model->onRestart, actions.restart, false);
    model->onFinish = actions.finish;
    model->onDelete = actions.remove;
    panel = std::make_unique<RecordingControlPanel>(*model, windowing);
    panel->startTimer(actions.elapsed);
    panel->show();
}

void TakeBar::connect(std::function<void()>& callback, const Actions::Attempt& attempt, bool paused) {
    callback = [attempt, paused, weak = std::weak_ptr(model)] {
        startTaskLater(QStringLiteral("bar"), [attempt, paused, weak]() -> QCoro::Task<> {
            auto attempted = attempt();
            co_await attempted;
            if (const auto shown = weak.lock())
                shown->setPaused(paused);
        });
    };
}

void TakeBar::close() {
    if (panel)
        panel->close();
    panel.reset();
    awake.reset();
}

void TakeBar::takeFocus() {
    panel->takeFocus();
}

void TakeBar::setLevel(double level) {
    if (model)
        model->setLevel(static_cast<float>(level));
}

void TakeBar::setMicrophoneSilent(bool silent) {
    if (model)
        model->setMicrophoneSilent(silent);
}

void TakeBar::setFinishing() {
    if (model)
        model->setFinishing(true);
}

void TakeBar::setDeleting() {
    if (model)
        model->setDeleting();
}

void TakeBar::setUploadProgress(std::int64_t sent, std::int64_t total) {
    if (model && total > 0)
        model->setUploadProgress(static_cast<double>(sent) / static_cast<double>(total));
}

Rect TakeBar::meterArea() const {
    const QRect area = panel ? panel->meterArea() : QRect();
    return {area.x(), area.y(), area.width(), area.height()};
}

bool TakeBar::isEnding() const {
    return model && model->isEnding();
}

} // namespace tavro
