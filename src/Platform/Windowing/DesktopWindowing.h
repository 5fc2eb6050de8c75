#pragma once

#include "Platform/Windowing.h"

namespace tavro {

/// Windows on an X server. On other window systems calls do nothing. Needs the application object.
class DesktopWindowing final : public Windowing {
public:
    bool isComposited() const override;
    bool placesWindows() const override;
    bool grabsEveryClick() const override;
    QRect usableArea(const QScreen& screen) const override;
    void makeFloating(QWindow& window) override;
    void setShape(QWindow& window, const QPainterPath& shape) override;
};

} // namespace tavro
