#pragma once

class QPainterPath;
class QRect;
class QScreen;
class QWindow;

namespace tavro {

/// What Qt lacks for floating panels. Main thread. Does nothing on unsupported window systems.
class Windowing {
public:
    virtual ~Windowing() = default;

    /// A compositor shows translucent windows.
    virtual bool isComposited() const = 0;

    /// The program can choose the positions of its windows.
    virtual bool placesWindows() const = 0;

    /// A window that grabs the mouse sees the clicks on other programs' windows, too.
    virtual bool grabsEveryClick() const = 0;

    /// The part of `screen` that panels leave free, as far as that is known.
    virtual QRect usableArea(const QScreen& screen) const = 0;

    /// Before `window` is shown. Keeps it above ordinary and full-screen windows, on every desktop, out of
    /// window lists, and without keyboard focus when it appears.
    virtual void makeFloating(QWindow& window) = 0;

    /// Clips pointer input, and the picture while no compositor runs, to `shape` (points in the window).
    virtual void setShape(QWindow& window, const QPainterPath& shape) = 0;
};

} // namespace tavro
