#include "Platform/Windowing/DesktopWindowing.h"

#include "Core/DesktopSession.h"
#include "Platform/Xcb/GuiConnection.h"

#include <QRegion>
#include <QScreen>
#include <QTransform>
#include <xcb/shape.h>
#include <xcb/xfixes.h>

#include <algorithm>
#include <utility>

namespace tavro {

namespace {

using gui::atom;
using gui::connection;

void setProperty(xcb_connection_t* x, xcb_window_t window, const QByteArray& name, xcb_atom_t type,
    const std::vector<std::uint32_t>& values) {
    xcb_change_property(x, XCB_PROP_MODE_REPLACE, window, atom(x, name), type, 32,
        static_cast<std::uint32_t>(values.size()), values.data());
}

std::vector<std::uint32_t> atoms(xcb_connection_t* x, std::initializer_list<const char*> names) {
    std::vector<std::uint32_t> result;
    for (const char* name : names)
        result.push_back(atom(x, name));
    return result;
}

std::vector<xcb_rectangle_t> pixels(const QPainterPath& shape, double scale) {
    const QPolygonF outline = shape.toFillPolygon(QTransform::fromScale(scale, scale));
    std::vector<xcb_rectangle_t> result;
    for (const QRect& r : QRegion(outline.toPolygon()))
        result.push_back({static_cast<std::int16_t>(r.x()), static_cast<std::int16_t>(r.y()),
            static_cast<std::uint16_t>(r.width()), static_cast<std::uint16_t>(r.height())});
    return result;
}

// The compositor owns this selection. Qt has windows on the first screen only.
xcb_atom_t compositorSelection(xcb_connection_t* x) {
    return atom(x, "_NET_WM_CM_S0");
}

void clip(xcb_connection_t* x, const QWindow& window, const QPainterPath& shape, bool isComposited) {
    const auto id = static_cast<xcb_window_t>(window.winId());
    const auto rectangles = pixels(shape, window.devicePixelRatio());
    const auto set = [&](xcb_shape_kind_t kind) {
        xcb_shape_rectangles(x, XCB_SHAPE_SO_SET, static_cast<std::uint8_t>(kind), XCB_CLIP_ORDERING_UNSORTED,
            id, 0, 0, static_cast<std::uint32_t>(rectangles.size()), rectangles.data());
    };
    set(XCB_SHAPE_SK_INPUT);
    if (isComposited)
        xcb_shape_mask(x, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, id, 0, 0, XCB_PIXMAP_NONE);
    else
        set(XCB_SHAPE_SK_BOUNDING);
    xcb_flush(x);
}

} // namespace

bool DesktopWindowing::isComposited() const {
    xcb_connection_t* x = connection();
    return !x || gui::selectionOwner(x, compositorSelection(x)) != XCB_WINDOW_NONE;
}

bool DesktopWindowing::placesWindows() const {
    return connection();
}

bool DesktopWindowing::grabsEveryClick() const {
    return connection() && !isWaylandSession(); // a Wayland desktop's X server sees only its own windows
}

// A Wayland desktop may tell its X server the free area of a scaled screen in other units than its size.
QRect DesktopWindowing::usableArea(const QScreen& screen) const {
    return connection() && isWaylandSession() ? screen.geometry() : screen.availableGeometry();
}

void DesktopWindowing::makeFloating(QWindow& window) {
    window.setProperty("_q_showWithoutActivating", true);
    window.setFlag(Qt::FramelessWindowHint);
    window.setFlag(Qt::WindowStaysOnTopHint);
    window.setFlag(Qt::WindowDoesNotAcceptFocus);
    // Compositors place the windows that they manage as they like, some below full-screen ones.
    if (connection() && isWaylandSession())
        window.setFlag(Qt::BypassWindowManagerHint);
    // Window managers keep notifications above full-screen windows and in place. Managers without that type
    // use the next. Qt sets the property again after every change of flags.
    constexpr int notification = 0x800;
    constexpr int utility = 0x20;
    window.setProperty("_q_xcb_wm_window_type", notification | utility);
    window.create();
    xcb_connection_t* x = connection();
    if (!x)
        return;

    const auto id = static_cast<xcb_window_t>(window.winId());
    constexpr std::uint32_t everyDesktop = 0xFFFFFFFF;
    setProperty(x, id, "_NET_WM_DESKTOP", XCB_ATOM_CARDINAL, {everyDesktop});
    setProperty(x, id, "_NET_WM_STATE", XCB_ATOM_ATOM,
        atoms(x, {"_NET_WM_STATE_ABOVE", "_NET_WM_STATE_STICKY", "_NET_WM_STATE_SKIP_TASKBAR",
                     "_NET_WM_STATE_SKIP_PAGER"}));
    xcb_flush(x);
}

void DesktopWindowing::setShape(QWindow& window, const QPainterPath& shape) {
    xcb_connection_t* x = connection();
    if (!x) {
        window.setMask(QRegion(shape.toFillPolygon().toPolygon()));
        return;
    }
    if (!window.handle())
        return;
    std::erase_if(shaped, [&](const Shaped& each) { return !each.window || each.window == &window; });
    shaped.push_back({&window, shape});
    watchCompositing();
    clip(x, window, shape, isComposited());
}

// Some desktops suspend their compositor for a full-screen window.
void DesktopWindowing::watchCompositing() {
    if (std::exchange(isWatching, true))
        return;
    qGuiApp->installNativeEventFilter(this);
    xcb_connection_t* x = connection();
    xcb_xfixes_select_selection_input(x, xcb_setup_roots_iterator(xcb_get_setup(x)).data->root,
        compositorSelection(x),
        XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
            XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
            XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
}

bool DesktopWindowing::nativeEventFilter(const QByteArray& /*kind*/, void* message, qintptr* /*result*/) {
    xcb_connection_t* x = connection();
    const auto* event = static_cast<const xcb_xfixes_selection_notify_event_t*>(message);
    const auto* xfixes = x ? xcb_get_extension_data(x, &xcb_xfixes_id) : nullptr;
    if (!xfixes || (event->response_type & 0x7F) != xfixes->first_event + XCB_XFIXES_SELECTION_NOTIFY ||
        event->selection != compositorSelection(x))
        return false;
    for (const Shaped& each : shaped)
        if (each.window && each.window->handle())
            clip(x, *each.window, each.shape, event->owner != XCB_WINDOW_NONE);
    return false;
}

} // namespace tavro
