#include "App/Termination.h"

#include "Core/EventLoop.h"
#include "Core/Tasks.h"

#include <QEvent>
#include <QEventLoop>
#include <QGuiApplication>
#include <QScopeGuard>
#include <QSessionManager>
#include <QTimer>

namespace tavro {

Termination::Termination(Guard guardGiven) : guard(std::move(guardGiven)) {
    qGuiApp->installEventFilter(this);
    connect(qGuiApp, &QGuiApplication::commitDataRequest, this, &Termination::desktopSessionEnds,
        Qt::DirectConnection);
}

Termination::~Termination() = default;

bool Termination::eventFilter(QObject* watched, QEvent* event) {
    if (watched != qGuiApp || event->type() != QEvent::Quit || done || (!begun && !guard.mustWait()))
        return false;
    event->ignore();
    begin();
    return true;
}

void Termination::begin() {
    if (std::exchange(begun, true))
        return;
    QTimer::singleShot(longestWait, this, [this] {
        if (!done)
            guard.giveUp();
        EventLoop::current()->post([this] { quit(); }); // the coroutines that giveUp() resumes run first
    });
    startTask(QStringLiteral("quit"), [this] { return makeSafeAndQuit(); });
}

QCoro::Task<> Termination::makeSafeAndQuit() {
    const auto end = qScopeGuard([this] { quit(); });
    auto safe = guard.makeSafe();
    co_await safe;
}

void Termination::quit() {
    done = true;
    QCoreApplication::exit();
}

// The session manager waits for this call and ends the program soon after.
void Termination::desktopSessionEnds(QSessionManager&) {
    if (done || (!begun && !guard.mustWait()))
        return;
    begin();
    if (!done)
        QEventLoop().exec(); // exit() in quit() ends this loop, too
}

} // namespace tavro
