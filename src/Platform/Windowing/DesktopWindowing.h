#pragma once

#include "Platform/Windowing.h"

namespace tavro {

/// The windows of an X server, whoever manages them. On other window systems, where a program has no say in
/// these matters, its calls do nothing. Needs the application object.
class DesktopWindowing final : public Windowing {
public:
    bool isComposited() const override;
    bool placesWindows() const override;
    void makeFloating(QWindow& window) override;
    void setShape(QWindow& window, const QPainterPath& shape) override;
};

} // namespace tavro
