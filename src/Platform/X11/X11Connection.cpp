#include "Platform/X11/X11Connection.h"

#include "Core/Errors.h"
#include "Platform/X11/ServerProbe.h"

#include <bit>
#include <cstring>
#include <poll.h>
#include <xcb/composite.h>
#include <xcb/damage.h>
#include <xcb/randr.h>
#include <xcb/shm.h>
#include <xcb/xcbext.h>
#include <xcb/xfixes.h>
#include <xcb/xinput.h>

namespace tavro {
namespace {

PlatformError x11Error(int code, const QString& message) {
    return PlatformError(QStringLiteral("Tavro.X11"), code, message);
}

const xcb_query_extension_reply_t& require(
    xcb_connection_t* c, xcb_extension_t& extension, const char* name) {
    const auto* data = xcb_get_extension_data(c, &extension);
    if (!data || !data->present)
        throw x11Error(2, QStringLiteral("The X server has no %1 extension").arg(QLatin1String(name)));
    return *data;
}

void requireVersion(const char* name, bool recentEnough) {
    if (!recentEnough)
        throw x11Error(2, QStringLiteral("The X server's %1 extension is too old").arg(QLatin1String(name)));
}

PlatformError noAnswer() {
    return x11Error(8, QStringLiteral("The X server does not answer"));
}

template <class Version>
bool isAtLeast(const Version& version, unsigned major, unsigned minor) {
    return version && (version->major_version > major ||
                          (version->major_version == major && version->minor_version >= minor));
}

} // namespace

X11Connection::X11Connection(const QByteArray& display) {
    if (!reactsWithin(patience, display))
        throw noAnswer();
    int screenNumber = 0;
    connection.reset(xcb_connect(display.isEmpty() ? nullptr : display.constData(), &screenNumber));
    if (isBroken()) {
        const QByteArray name = display.isEmpty() ? qgetenv("DISPLAY") : display;
        throw x11Error(
            1, QStringLiteral("Cannot connect to the X server \"%1\"").arg(QString::fromLocal8Bit(name)));
    }
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(*this));
    for (; screenNumber > 0 && screens.rem > 1; --screenNumber)
        xcb_screen_next(&screens);
    screen = screens.data;
    requireExtensions();
    requirePixelFormat();
}

X11Connection::~X11Connection() = default;

void X11Connection::requireExtensions() {
    xcb_connection_t* c = *this;
    for (xcb_extension_t* extension :
        {&xcb_shm_id, &xcb_damage_id, &xcb_xfixes_id, &xcb_randr_id, &xcb_composite_id, &xcb_input_id})
        xcb_prefetch_extension_data(c, extension);
    roundTrip(); // reading the data would wait without a limit
    requireAnswers();
    require(c, xcb_shm_id, "MIT-SHM");
    damageEvent = require(c, xcb_damage_id, "DAMAGE").first_event;
    fixesEvent = require(c, xcb_xfixes_id, "XFIXES").first_event;
    randrEvent = require(c, xcb_randr_id, "RANDR").first_event;
    require(c, xcb_composite_id, "Composite");

    const auto shm = xcb_shm_query_version(c);
    const auto damage = xcb_damage_query_version(c, 1, 1);
    const auto fixes = xcb_xfixes_query_version(c, 5, 0);
    const auto randr = xcb_randr_query_version(c, 1, 5);
    const auto composite = xcb_composite_query_version(c, 0, 2);
    roundTrip();
    requireAnswers();
    requireVersion("MIT-SHM", isAtLeast(reply(xcb_shm_query_version_reply, shm), 1, 2));
    requireVersion("DAMAGE", isAtLeast(reply(xcb_damage_query_version_reply, damage), 1, 1));
    requireVersion("XFIXES", isAtLeast(reply(xcb_xfixes_query_version_reply, fixes), 2, 0));
    requireVersion("RANDR", isAtLeast(reply(xcb_randr_query_version_reply, randr), 1, 5));
    requireVersion("Composite", isAtLeast(reply(xcb_composite_query_version_reply, composite), 0, 2));

    // Optional: without XInput, pointer motion is seen later.
    if (const auto* input = xcb_get_extension_data(c, &xcb_input_id); input && input->present) {
        const auto version = xcb_input_xi_query_version(c, 2, 2);
        if (isAtLeast(reply(xcb_input_xi_query_version_reply, version), 2, 1))
            inputOpcode = input->major_opcode;
    }
}

void X11Connection::requirePixelFormat() const {
    const auto* setup = xcb_get_setup(*this);
    if (screen->root_depth != 24)
        throw x11Error(3, QStringLiteral("The X server's screen has a depth of %1; Tavro records depth 24")
                              .arg(screen->root_depth));
    bool usable =
        setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST && std::endian::native == std::endian::little;
    for (auto format = xcb_setup_pixmap_formats_iterator(setup); format.rem > 0; xcb_format_next(&format))
        if (format.data->depth == 24)
            usable = usable && format.data->bits_per_pixel == 32;
    for (auto depth = xcb_screen_allowed_depths_iterator(screen); depth.rem > 0; xcb_depth_next(&depth))
        for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem > 0;
             xcb_visualtype_next(&visual))
            if (visual.data->visual_id == screen->root_visual)
                usable = usable && visual.data->red_mask == 0xff0000 && visual.data->blue_mask == 0xff;
    if (!usable)
        throw x11Error(3, QStringLiteral("The X server's screen does not have 8 bits for each colour"));
}

xcb_atom_t X11Connection::atom(const char* name) {
    const auto length = static_cast<std::uint16_t>(std::strlen(name));
    const auto interned = reply(xcb_intern_atom_reply, xcb_intern_atom(*this, 1, length, name));
    return interned ? interned->atom : xcb_atom_t{XCB_ATOM_NONE};
}

void* X11Connection::waitForReply(unsigned sequence) {
    void* received = nullptr;
    xcb_generic_error_t* error = nullptr;
    xcb_flush(*this);
    const auto until = std::chrono::steady_clock::now() + patience;
    while (!xcb_poll_for_reply(*this, sequence, &received, &error)) {
        if (isBroken() || !(whileWaiting ? whileWaiting() : waitForData(until))) {
            gaveUp = true;
            xcb_discard_reply(*this, sequence);
            return nullptr;
        }
    }
    std::free(error);
    return received;
}

bool X11Connection::waitForData(std::chrono::steady_clock::time_point until) const {
    using namespace std::chrono;
    const auto left = ceil<milliseconds>(until - steady_clock::now());
    if (gaveUp || left <= left.zero())
        return false;
    pollfd data{descriptor(), POLLIN, 0};
    ::poll(&data, 1, static_cast<int>(left.count()));
    return true;
}

bool X11Connection::roundTrip() {
    return reply(xcb_get_input_focus_reply, xcb_get_input_focus(*this)) != nullptr;
}

void X11Connection::requireAnswers() const {
    if (isBroken())
        throw x11Error(1, QStringLiteral("The connection to the X server is lost"));
    if (gaveUp)
        throw noAnswer();
}

} // namespace tavro
