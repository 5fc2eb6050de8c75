#pragma once

#include <QGuiApplication>
#include <QKeyEvent>
#include <QWindow>

namespace tavro::test {

inline void pressKey(QWindow* window, Qt::Key key) {
    for (const auto type : {QEvent::KeyPress, QEvent::KeyRelease}) {
        QKeyEvent event(type, key, Qt::NoModifier);
        QGuiApplication::sendEvent(window, &event);
    }
}

} // namespace tavro::test
