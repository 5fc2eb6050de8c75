#pragma once

class QPainterPath;
class QWindow;

namespace tavro {

/// What a floating panel needs of the window system beyond what Qt offers. Main thread. Where the window
/// system has no such thing, a call does nothing.
class Windowing {
public:
    virtual ~Windowing() = default;

    /// Translucent windows are shown as such: somebody composes the screen.
    virtual bool isComposited() const = 0;

    /// A program's windows are where the program puts them; elsewhere the user alone moves them.
    virtual bool placesWindows() const = 0;

    /// Makes `window`, not shown yet, float: above ordinary windows and full-screen ones, on every desktop,
    /// in no list of windows, and without the keyboard's focus when it appears.
    virtual void makeFloating(QWindow& window) = 0;

    /// Confines a window to `shape`: what lies outside belongs to whatever is below it, for the eye where the
    /// screen is not composed, and for the pointer in any case. Points, in the window.
    virtual void setShape(QWindow& window, const QPainterPath& shape) = 0;
};

} // namespace tavro
