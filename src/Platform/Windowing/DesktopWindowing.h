#pragma once

#include "Platform/Windowing.h"

#include <QAbstractNativeEventFilter>
#include <QPainterPath>
#include <QPointer>
#include <QWindow>

#include <vector>

namespace tavro {

/// Windows on an X server. On other window systems only input is clipped. Needs the application object.
class DesktopWindowing final : public Windowing, private QAbstractNativeEventFilter {
public:
    bool isComposited() const override;
    bool placesWindows() const override;
    bool grabsEveryClick() const override;
    QRect usableArea(const QScreen& screen) const override;
    void makeFloating(QWindow& window) override;
    void setShape(QWindow& window, const QPainterPath& shape) override;

private:
    struct Shaped {
        QPointer<QWindow> window;
        QPainterPath shape;
    };
    void watchCompositing();
    bool nativeEventFilter(const QByteArray& kind, void* message, qintptr* result) override;

    bool isWatching = false;
    std::vector<Shaped> shaped; ///< the windows with a shape
};

} // namespace tavro
